// The devices in the air, each with its signal strength over time.
import {button, form} from "./act.js";
import {pathOf} from "./control.js";
import {labelled, node, options, Rows, say, setClass} from "./dom.js";
import {graph} from "./graph.js";

const PRESENCES = ["scheduled", "present", "away"];

const FACTS = [["in range", "good"], ["found", "info"], ["pairing", "warn"], ["paired", "info"], ["connected", "good"]];

// Whether each of FACTS holds, for each device.
function withFacts(told) {
  const found = new Set(told.scan.found.map((each) => each.address));
  const slots = new Map(told.whitelist.slots.filter((each) => each.in_use).map((each) => [each.address, each]));
  const pairs = told.pairing.own_meaning === "pairing" ? told.pairing.address : null;
  return told.devices.map((device) => {
    const {address} = device;
    const slot = slots.get(address);
    return {...device, facts: [device.in_range, found.has(address), pairs === address, slot !== undefined,
                               slot !== undefined && slot.connected]};
  });
}

function presence(address) {
  const made = options(node("select", {"aria-label": `Presence of ${address}`}), PRESENCES);
  const act = button("Apply", `Set the presence of ${address}`,
    () => ["PUT", `/simulator/ble/devices/${address}`, {device: {presence: made.value}}]);
  return node("span", {class: "line"}, made, act);
}

function deviceRow(device) {
  const {address} = device;
  const name = node("bdi", {class: "name"});
  const strength = node("span", {class: "strength"});
  const line = graph();
  const badges = FACTS.map(([text, kind]) => node("span", {class: `badge ${kind}`, hidden: true}, text));
  const made = node("li", {class: "device", "data-address": address},
    node("span", {class: "who"}, name, node("span", {class: "mono quiet"}, address)),
    node("span", {class: "signal"}, line.node, strength), node("span", {class: "badges"}, badges),
    node("details", {class: "change"}, node("summary", {"aria-label": `Change ${address}`}, "change"),
      presence(address),
      node("span", {class: "buttons"},
        button("Pair", `Pair ${address}`,
          () => ["POST", "/simulator/ble/pairing", {address, type: device.address_type}]),
        button("Remove", `Remove ${address}`, () => ["DELETE", `/simulator/ble/devices/${address}`]))));
  return {
    node: made,
    update(now) {
      say(name, now.name || "(no name)");
      setClass(made, "away", !now.in_range);
      line.add(now.in_range ? now.rssi_now : null);
      say(strength, now.in_range ? `${now.rssi_now} dBm` : "away");
      now.facts.forEach((is, place) => {
        badges[place].hidden = !is;
      });
    },
  };
}

// Returns a function that shows the devices of the radio's state.
export function deviceRows(place) {
  const rows = new Rows(place, (each) => each.address, deviceRow);
  return (told) => rows.show(withFacts(told));
}

function added(data) {
  const device = {name: data.get("name"), rssi: Number(data.get("rssi")), address_type: Number(data.get("type"))};
  return ["PUT", pathOf("/simulator/ble/devices/{address}", {address: data.get("address")}), {device}];
}

export function deviceForm() {
  return node("details", {class: "change"}, node("summary", {}, "Add a device"), form("Add", "Add a device", added,
    labelled("Address", node("input", {name: "address", required: true, value: "112233445566", class: "mono",
                                       autocomplete: "off", spellcheck: "false"})),
    labelled("Name", node("input", {name: "name", value: "New device", autocomplete: "off"})),
    labelled("dBm", node("input", {name: "rssi", type: "number", min: "-127", max: "20", value: "-55"})),
    labelled("Address type", node("input", {name: "type", type: "number", min: "0", max: "255", value: "1"}))));
}
