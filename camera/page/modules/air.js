// What is in the air: the radio with its scan and pairing, the devices, and the whitelist.
import {node} from "./dom.js";
import {deviceForm, deviceRows} from "./devices.js";
import {follow} from "./live.js";
import {radioCard} from "./radio.js";
import {slotRows} from "./whitelist.js";

export function showAir(place) {
  const radio = radioCard();
  const devices = node("ul", {class: "devices", id: "devices"});
  const slots = node("ol", {class: "slots", id: "slots", start: "0"});
  const nothing = node("p", {class: "empty", hidden: true}, "No device is in the air.");
  const noSlot = node("p", {class: "empty", hidden: true}, "The whitelist is empty.");
  const count = node("span", {class: "count"});
  place.append(node("div", {class: "columns"},
    node("div", {class: "side"}, radio.node,
      node("div", {class: "card"}, node("h3", {}, "Whitelist"), noSlot, slots)),
    node("div", {class: "card"}, node("h3", {}, "Devices ", count), nothing, devices, deviceForm())));
  const deviceList = deviceRows(devices);
  const slotList = slotRows(slots);
  follow("/simulator/ble", place, (told) => {
    radio.update(told);
    deviceList(told);
    slotList(told);
    nothing.hidden = told.devices.length > 0;
    noSlot.hidden = told.whitelist.slots.length > 0;
    count.textContent = `${told.devices.filter((each) => each.in_range).length} of ${told.devices.length} in range`;
  });
}
