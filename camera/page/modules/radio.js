// The radio: its scan, its pairing, its own setting.
import {button, form} from "./act.js";
import {hide, labelled, node, options, say} from "./dom.js";

export function radioCard() {
  const scan = node("span", {class: "badge", id: "scan-state"});
  const start = button("Start", "Start a scan", () => ["POST", "/simulator/ble/scan"]);
  const stop = button("Stop", "Stop the scan", () => ["DELETE", "/simulator/ble/scan"]);
  const pairing = node("bdi", {class: "badge", id: "pairing-state"});
  const ends = [["success", "succeed"], ["failure", "fail"], ["timeout", "time out"], ["cancel", "be cancelled"]];
  const end = form("Do", "End the pairing",
    (data) => ["POST", "/simulator/ble/pairing/end", {outcome: data.get("outcome")}],
    labelled("Let it", options(node("select", {name: "outcome"}), ends)));
  const connect = node("span", {class: "badge"});
  const other = button("Switch", "Switch connecting by itself",
    () => ["PATCH", "/simulator/ble", {settings: {auto_connect: other.dataset.value === "0" ? 1 : 0}}]);
  return {
    node: node("div", {class: "card", id: "radio"}, node("h3", {}, "Radio"),
      node("ul", {class: "items"},
        node("li", {class: "item"}, node("span", {class: "name"}, "Scan"), node("span", {class: "state"}, scan),
          node("span", {class: "buttons"}, start, stop)),
        node("li", {class: "item"}, node("span", {class: "name"}, "Pairing"), node("span", {class: "state"}, pairing),
          end),
        node("li", {class: "item"}, node("span", {class: "name"}, "Connects by itself"),
          node("span", {class: "state"}, connect), node("span", {class: "buttons"}, other)))),
    update(told) {
      const {running, found, list_id: list} = told.scan;
      say(scan, `${running ? "scanning" : "not scanning"} · ${found.length} found · list ${list}`);
      scan.className = `badge ${running ? "good" : "quiet"}`;
      hide(start, running);
      hide(stop, !running);
      const {status, meaning, address, own_meaning: own, by_hand: told_by_hand} = told.pairing;
      say(pairing, `${meaning}${told_by_hand ? ` (told by hand: ${status})` : ""}`
        + `${own === "idle" ? "" : ` · ${address}`}`);
      pairing.className = `badge ${own === "pairing" ? "warn" : own === "paired" ? "good" : "quiet"}`;
      end.hidden = own !== "pairing";
      say(connect, told.auto_connect === 0 ? "no" : told.auto_connect === 1 ? "yes" : `yes (${told.auto_connect})`);
      connect.className = `badge ${told.auto_connect ? "good" : "quiet"}`;
      other.dataset.value = String(told.auto_connect);
    },
  };
}
