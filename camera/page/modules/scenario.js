// The scenario in use: which it is, back to it, on to another one.
import {act, fetched} from "./act.js";
import {ask} from "./control.js";
import {labelled, node, options, say} from "./dom.js";
import {follow} from "./live.js";
import {forgetTraffic} from "./traffic.js";

async function begin(what, work) {
  const done = await act(what, work);
  if (done) {
    forgetTraffic();
  }
}

function document(text) {
  try {
    return JSON.parse(text);
  } catch (error) {
    throw new Error(`this is no JSON: ${error.message}`);
  }
}

export async function scenarioCard() {
  const known = await ask("GET", "/simulator/scenarios");
  const name = node("bdi", {class: "mono", id: "scenario-name"});
  const text = node("textarea", {rows: "14", class: "mono", spellcheck: "false"});
  const select = options(node("select", {}), known.map((each) => each.name), "default");
  const about = node("p", {class: "help"});
  const show = () => {
    const found = known.find((each) => each.name === select.value);
    say(about, found.description);
    text.value = JSON.stringify(found.scenario, null, 2);
  };
  select.addEventListener("change", show);
  show();
  const card = node("div", {class: "card", id: "scenario"}, node("h3", {}, "Scenario"),
    node("p", {}, "In use: ", name), node("p", {class: "buttons"},
      node("button", {type: "button", on: {
        click: () => begin("Reset", () => ask("POST", "/simulator/reset")),
      }}, "Back to it"),
      node("button", {type: "button", on: {
        async click() {
          const told = await fetched("Fetch the scenario", () => ask("GET", "/simulator/scenario"));
          text.value = told?.text ?? text.value;
        },
      }}, "Show its text")),
    node("form", {class: "stack", on: {
      submit(event) {
        event.preventDefault();
        begin(`Load ${select.value}`, () => ask("PUT", "/simulator/scenario",
          {scenario: document(text.value), name: `${select.value} (by the page)`}));
      },
    }}, labelled("One that comes with the camera", select), about, labelled("Its text, to change at will", text),
    node("p", {class: "buttons"}, node("button", {type: "submit", class: "main"}, "Load this"))));
  follow("/simulator/scenario", card, (told) => say(name, told.name ?? "none: all defaults"));
  return card;
}
