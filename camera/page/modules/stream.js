// The streaming program, which requests start and stop, and its log.
import {button, form} from "./act.js";
import {labelled, node, Rows, say} from "./dom.js";
import {follow} from "./live.js";

function words(line) {
  return line.split(/\s+/).filter((word) => word !== "");
}

function entryText(entry) {
  const rest = entry.event === "start" ? entry.arguments.join(" ") : entry.reason;
  return `${entry.time.slice(11, 23)}  ${entry.pid}  ${entry.event}  ${rest}`;
}

function textRow(text) {
  return () => {
    const made = node("li", {class: "mono"});
    return {node: made, update: (each) => say(made, text(each))};
  };
}

export function showStream(place) {
  const state = node("p", {class: "badge", id: "stream-state"});
  const processes = node("ul", {class: "plain", "aria-label": "Processes of zvStream"});
  const log = node("ul", {class: "plain scroll", "aria-label": "Log of zvStream", tabindex: "0"});
  const card = node("div", {class: "card", id: "stream"}, node("h3", {}, "Streaming program"), state, processes,
    form("Start", "Start zvStream",
      (data) => ["POST", "/simulator/stream/start", {arguments: words(data.get("words"))}],
      labelled("Arguments", node("input", {name: "words", autocomplete: "off", placeholder: "-x 1"}))),
    node("p", {class: "buttons"}, button("Stop all", "Stop zvStream", () => ["POST", "/simulator/stream/stop"])),
    node("h4", {}, "Its log"), log);
  place.append(card);
  const running = new Rows(processes, (each) => String(each.pid),
    textRow((each) => `${each.pid}  ${each.arguments.join(" ")}`));
  const entries = new Rows(log, (each) => each.key, textRow(entryText));
  follow("/simulator/stream", card, (told) => {
    say(state, told.running ? "runs" : "does not run");
    state.className = `badge ${told.running ? "good" : "quiet"}`;
    running.show(told.processes);
    entries.show(told.log.map((each, place) => ({...each, key: `${each.time} ${each.pid} ${each.event} ${place}`})));
  });
}
