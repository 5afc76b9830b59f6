// The slots of the whitelist, and the connections.
import {button} from "./act.js";
import {hide, node, Rows, say, setClass} from "./dom.js";

function slotRow({address, number, key}) {
  const name = node("bdi", {class: "name"});
  const place = node("span", {class: "mono quiet"});
  const badges = ["mitm", "auto", "connected"].map((text) =>
    node("span", {class: `badge ${text === "connected" ? "good" : "info"}`, hidden: true}, text));
  const path = `/simulator/ble/connections/${address}`;
  const slot = `/simulator/ble/whitelist/${address}`;
  const connect = button("Connect", `Connect ${address}`, () => ["PUT", path]);
  const disconnect = button("Disconnect", `Disconnect ${address}`, () => ["DELETE", path]);
  const auto = button("Auto", `Switch connecting ${address} by itself`,
    () => ["PUT", slot, {slot: {auto_connect: auto.dataset.value !== "true"}}]);
  const free = button("Free", `Free the slot of ${address}`, () => ["DELETE", slot]);
  const buttons = node("span", {class: "buttons"}, connect, disconnect, auto, free);
  const made = node("li", {class: "slot", "data-slot": key},
    node("span", {class: "who"}, name, place),
    node("span", {class: "badges"}, badges), buttons);
  return {
    node: made,
    update(now) {
      say(name, now.in_use ? now.name || "(no name)" : "free");
      say(place, now.in_use ? `slot ${number} · ${address}` : `slot ${number}`);
      setClass(made, "away", !now.in_use);
      [now.mitm, now.auto_connect, now.connected].forEach((is, badge) => {
        badges[badge].hidden = !(now.in_use && is);
      });
      buttons.hidden = !now.in_use;
      hide(connect, now.connected);
      hide(disconnect, !now.connected);
      auto.dataset.value = String(now.auto_connect);
      say(auto, now.auto_connect ? "Auto off" : "Auto on");
    },
  };
}

// Returns a function that shows the whitelist of the radio's state.
export function slotRows(place) {
  const rows = new Rows(place, (each) => each.key, slotRow);
  return (told) => rows.show(told.whitelist.slots.map((each, number) =>
    ({...each, number, key: `${number} ${each.address}`})));
}
