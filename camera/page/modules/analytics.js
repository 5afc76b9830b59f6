// The file of analytics that the camera collects.
import {button, form} from "./act.js";
import {labelled, node, options, Rows, say} from "./dom.js";
import {follow} from "./live.js";

const CLEARINGS = [["empty", "empties the file"], ["remove", "removes it"], ["keep", "keeps it as it is"]];

function number(name, value, more = {}) {
  return node("input", {name, type: "number", min: "0", value, ...more});
}

function memberRow([name]) {
  const value = node("dd", {class: "mono"});
  return {node: node("div", {class: "pair"}, node("dt", {}, name), value),
          update: ([, now]) => say(value, now === null ? "no file" : now)};
}

export function showAnalytics(place) {
  const list = node("dl", {class: "pairs"});
  const card = node("div", {class: "card", id: "analytics"}, node("h3", {}, "Analytics"), list,
    node("p", {class: "buttons"},
      button("Collect", "Collect analytics", () => ["POST", "/simulator/analytics/on"]),
      button("Collect no more", "Collect no more analytics", () => ["POST", "/simulator/analytics/off"]),
      button("Clear", "Clear the analytics", () => ["POST", "/simulator/analytics/clear"])),
    form("Append", "Append analytics",
      (data) => ["POST", "/simulator/analytics/records", {records: Number(data.get("records"))}],
      labelled("Records", number("records", "1"))),
    form("Make it so long", "Set the size of the analytics",
      (data) => ["PUT", "/simulator/analytics/size", {bytes: Number(data.get("bytes"))}],
      labelled("Bytes", number("bytes", "2500"))),
    form("Set the limit", "Set the limit of the analytics",
      (data) => ["PUT", "/simulator/analytics/limit", {bytes: Number(data.get("limit"))}],
      labelled("Most bytes", number("limit", "1048576"))),
    form("Apply", "Set what clearing the analytics does",
      (data) => ["PUT", "/simulator/analytics/on-clear", {what: data.get("what")}],
      labelled("Clearing", options(node("select", {name: "what"}), CLEARINGS))));
  place.append(card);
  const rows = new Rows(list, ([name]) => name, memberRow);
  follow("/simulator/analytics", card, (told) => rows.show(Object.entries(told)));
}
