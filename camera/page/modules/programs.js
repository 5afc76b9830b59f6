// The camera's programs: which run, which stand still, which are gone.
import {button} from "./act.js";
import {hide, node, Rows, say} from "./dom.js";
import {follow} from "./live.js";

const STATES = {
  running: ["runs", "good"], stopped: ["stands still", "warn"], ended: ["is gone", "bad"],
  idle: ["waits to be asked", "quiet"],
};
// What may be done in each state.
const ACTS = {running: ["stop", "term", "kill"], stopped: ["cont", "term", "kill"], ended: ["start"], idle: ["term"]};
const WORDS = {stop: "Stop", cont: "Continue", term: "End", kill: "Kill", start: "Start"};
// Without these the page has nobody to talk to.
const CARRIERS = ["lighttpd", "nginx", "control"];

function programRow({name}) {
  const state = node("span", {class: "badge"});
  const carries = CARRIERS.includes(name) ? node("span", {class: "help"}, "carries this page") : null;
  const misdeeds = node("p", {class: "note bad", hidden: true});
  const buttons = Object.entries(WORDS).map(([op, word]) =>
    button(word, `${word} ${name}`, () => ["POST", `/simulator/daemons/${name}/${op}`],
      {"data-op": op}));
  const made = node("li", {class: "item", "data-program": name},
    node("span", {class: "name mono"}, name), node("span", {class: "state"}, state),
    node("span", {class: "buttons"}, carries ?? buttons), misdeeds);
  return {
    node: made,
    update(now) {
      const [word, kind] = STATES[now.state] ?? [now.state, "quiet"];
      say(state, now.pid ? `${word} · ${now.pid}` : word);
      state.className = `badge ${kind}`;
      made.dataset.state = now.state;
      buttons.forEach((each) => {
        hide(each, !(ACTS[now.state] ?? []).includes(each.dataset.op));
      });
      say(misdeeds, now.misdeeds.join("; "));
      misdeeds.hidden = now.misdeeds.length === 0;
    },
  };
}

export function showPrograms(place) {
  const list = node("ul", {class: "items"});
  const card = node("div", {class: "card", id: "programs"}, node("h3", {}, "Programs"), list);
  place.append(card);
  const rows = new Rows(list, (each) => each.name, programRow);
  follow("/simulator/daemons", card, (told) => {
    rows.show(Object.entries(told).map(([name, each]) => ({name, ...each})));
  });
}
