// What the camera says of itself, each item with a way to set it and to let it fail.
import {button, form} from "./act.js";
import {node, options, Rows, say, setClass} from "./dom.js";
import {follow} from "./live.js";
import {parameterOf} from "./operations.js";

const NAMES = {
  recording: "Recording", ap_pairing_state: "Pairing phase", model_number: "Model number", model_name: "Model name",
  firmware_version: "Firmware", serial_number: "Serial number", board_type: "Board", ap_mac: "Access point's MAC",
  ap_ssid: "Access point's name", ap_has_default_credentials: "Default credentials",
  uri_interface_open: "Opening the interface", uri_interface_close: "Closing the interface",
  analytics_get: "Getting analytics", analytics_clear: "Clearing analytics",
};
// What is on or off gets a switch.
const SWITCHES = {
  recording: [0, 1], ap_pairing_state: [0, 1], ap_has_default_credentials: [false, true],
};

function wordOf(item, value) {
  const place = SWITCHES[item].indexOf(value);
  return place < 0 ? `state ${value}` : ["no", "yes"][place];
}

function pathOf(item, rest = "") {
  return `/simulator/state/${item}${rest}`;
}

function switcher(item) {
  const made = button("Switch", `Switch ${NAMES[item]}`, () => {
    const [off, on] = SWITCHES[item];
    return ["PUT", pathOf(item), {value: made.dataset.value === String(on) ? off : on}];
  });
  return made;
}

function setter(item, value) {
  return form("Set", `Set ${NAMES[item]}`, (data) => ["PUT", pathOf(item), {value: data.get("value")}],
    node("input", {name: "value", value, "aria-label": `New value of ${NAMES[item]}`, autocomplete: "off",
                   spellcheck: "false"}));
}

function failing(item, codes) {
  const chosen = options(node("select", {name: "code", "aria-label": `Result code of ${NAMES[item]}`}), codes);
  return form("Fail", `Let ${NAMES[item]} fail`, (data) => ["PUT", pathOf(item, "/failure"), {code: data.get("code")}],
    chosen);
}

function itemRow(codes, {item, value}) {
  const shown = node("bdi", {class: "value"});
  const failure = node("span", {class: "badge bad", hidden: true});
  const works = button("Works again", `Let ${NAMES[item] ?? item} work again`,
    () => ["DELETE", pathOf(item, "/failure")], {hidden: true});
  const turn = SWITCHES[item] ? switcher(item) : null;
  const made = node("li", {class: "item", "data-item": item},
    node("span", {class: "name"}, NAMES[item] ?? item), node("span", {class: "state"}, shown, failure, works),
    node("span", {class: "buttons"}, turn),
    node("details", {class: "change"}, node("summary", {"aria-label": `Change ${NAMES[item] ?? item}`}, "change"),
      value === undefined ? null : setter(item, value), failing(item, codes)));
  return {
    node: made,
    update(now) {
      const on = SWITCHES[item] && now.value === SWITCHES[item][1];
      say(shown, now.value === undefined ? "works" : SWITCHES[item] ? wordOf(item, now.value) : now.value);
      shown.className = on ? "badge warn" : "value";
      if (turn) {
        turn.dataset.value = String(now.value);
        say(turn, on ? "Off" : "On");
      }
      say(failure, now.code === undefined ? "" : `fails with ${now.code}`);
      failure.hidden = works.hidden = now.code === undefined;
      setClass(made, "failing", now.code !== undefined);
    },
  };
}

export async function showCamera(place) {
  const codes = (await parameterOf("fail", "code")).rows.map((row) => [row.word, `${row.word} ${row.meaning}`]);
  const items = (await parameterOf("fail", "item")).choices;
  const list = node("ul", {class: "items"});
  place.append(node("div", {class: "card", id: "state"}, node("h3", {}, "State"), list));
  const rows = new Rows(list, (each) => each.item, (each) => itemRow(codes, each));
  follow("/simulator/state", place.querySelector("#state"), (told) => {
    const values = {...told.state, ...told.identity};
    rows.show(items.map((item) => ({item, value: values[item], code: told.failures[item]})));
  });
}
