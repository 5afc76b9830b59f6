// Faults: rules that let answers go wrong, and how often each has hit.
import {button, form} from "./act.js";
import {ask} from "./control.js";
import {labelled, node, options, Rows, say} from "./dom.js";
import {follow} from "./live.js";
import {scenarioCard} from "./scenario.js";

const SHOWN = ["ms", "max_ms", "status", "category", "bytes", "by", "bytes_per_second", "hex", "body", "type",
               "probability"];

function ruleRow(rule) {
  const hits = node("span", {class: "badge"});
  const left = node("span", {class: "quiet"});
  const values = SHOWN.filter((name) => rule[name] !== undefined).map((name) => `${name} ${rule[name]}`);
  return {
    node: node("li", {class: "item", "data-rule": rule.id},
      node("span", {class: "name"}, node("span", {class: "mono"}, rule.id), " ",
        node("bdi", {class: "mono"}, rule.command), ` ${rule.fault} `,
        node("span", {class: "quiet"}, values.join(", "))),
      node("span", {class: "state"}, hits, left),
      button("Remove", `Remove the fault ${rule.id}`, () => ["DELETE", `/simulator/faults/${rule.id}`])),
    update(now) {
      say(hits, now.hits === 1 ? "1 hit" : `${now.hits} hits`);
      hits.className = `badge ${now.hits > 0 ? "warn" : "quiet"}`;
      say(left, `${now.skip > 0 ? `skips ${now.skip}, ` : ""}left: ${now.left}`);
    },
  };
}

function given(data, kind) {
  const body = {command: data.get("command"), fault: kind.name};
  for (const name of ["value", "body", "type"]) {
    if (data.get(name)) {
      body[name] = data.get(name);
    }
  }
  for (const name of ["count", "skip", "probability"]) {
    if (data.get(name)) {
      body[name] = Number(data.get(name));
    }
  }
  return body;
}

function number(name, more = {}) {
  return node("input", {name, type: "number", min: "0", ...more});
}

// The form whose choices are the kinds of faults that the camera names.
function addForm(kinds) {
  const level = options(node("select", {name: "level"}),
    [["messages", "of messages"], ["http", "of HTTP"]], "messages");
  const command = node("input", {name: "command", required: true, autocomplete: "off", class: "mono",
                                 list: "fault-commands"});
  const known = node("datalist", {id: "fault-commands"});
  const fault = node("select", {name: "fault"});
  const value = labelled("Value", node("input", {name: "value", autocomplete: "off", class: "mono"}));
  const meaning = node("p", {class: "help", role: "status"});
  const ofStatus = [labelled("Body", node("input", {name: "body", autocomplete: "off"})),
                    labelled("Type of the body", node("input", {name: "type", placeholder: "application/json"}))];
  const kind = () => kinds[level.value].faults.find((each) => each.name === fault.value);

  function showFault() {
    const {key, value: placeholder, meaning: text, name} = kind();
    value.hidden = key === null;
    value.querySelector("input").placeholder = placeholder;
    value.querySelector("input").disabled = key === null;
    ofStatus.forEach((each) => {
      each.hidden = !(level.value === "http" && name === "status");
      each.querySelector("input").disabled = each.hidden;
    });
    say(meaning, text);
  }

  function showLevel() {
    const {commands, faults} = kinds[level.value];
    known.replaceChildren(...commands.map((each) => node("option", {value: each})));
    command.value = commands[0];
    options(fault, faults.map((each) => each.name));
    showFault();
  }

  level.addEventListener("change", showLevel);
  fault.addEventListener("change", showFault);
  const made = form("Add", "Add a fault", (data) => ["POST", "/simulator/faults", given(data, kind())],
    labelled("Level", level), labelled("Command or path", command), known, labelled("Fault", fault), value, ofStatus,
    labelled("Count (0: all)", number("count", {value: "0"})), labelled("Skip", number("skip", {value: "0"})),
    labelled("Probability", number("probability", {max: "1", step: "any", placeholder: "1"})), meaning);
  showLevel();
  return made;
}

export async function showFaults(place) {
  const kinds = await ask("GET", "/simulator/faults/kinds");
  const list = node("ul", {class: "items", id: "rules"});
  const empty = node("p", {class: "empty", hidden: true}, "Nothing goes wrong on purpose.");
  const card = node("div", {class: "card"}, node("h3", {}, "Faults"), empty, list, node("p", {class: "buttons"},
    button("Clear all", "Clear all faults", () => ["DELETE", "/simulator/faults"])));
  const add = node("div", {class: "card", id: "add-fault"}, node("h3", {}, "Add a fault"), addForm(kinds));
  place.append(node("div", {class: "columns even"}, node("div", {class: "side"}, card, add), await scenarioCard()));
  const rows = new Rows(list, (each) => each.id, ruleRow);
  follow("/simulator/faults", card, (told, missing) => {
    rows.show(told);
    empty.hidden = told.length > 0 || missing !== "";
  });
}
