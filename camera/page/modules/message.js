// A message of the queues: its bytes, and every field of them in words, as the camera decodes them.
import {fetched, hear} from "./act.js";
import {ask} from "./control.js";
import {node} from "./dom.js";
import {dump} from "./texts.js";

export function decode(record) {
  const command = record.command ? `&command=${encodeURIComponent(record.command)}` : "";
  return ask("GET", `/simulator/message?hex=${record.hex}${command}`);
}

const wanted = new WeakMap(); // place: the message that was chosen last

function fieldRow(field) {
  return node("tr", {}, node("td", {class: "mono quiet"}, String(field.offset).padStart(4, "0")),
    node("td", {class: `depth-${field.depth}`}, field.name), node("td", {class: "mono"}, field.value));
}

// Shows a message, decoded, in a place.
export async function showMessage(place, record) {
  wanted.set(place, record);
  const told = await fetched("Decode the message", () => decode(record));
  if (!told || wanted.get(place) !== record) {
    return;
  }
  const way = `${record.daemon} ${record.direction === "in" ? "has read from" : "has written to"} ${record.queue}`;
  place.replaceChildren(
    node("h4", {}, told.summary),
    node("p", {class: "quiet"}, `${way} · ${record.time} · ${told.bytes} bytes`,
      record.note ? ` · ${record.note}` : ""),
    node("table", {class: "fields"}, node("caption", {}, "Its fields"), node("thead", {}, node("tr", {},
      node("th", {scope: "col"}, "at"), node("th", {scope: "col"}, "field"), node("th", {scope: "col"}, "value"))),
    node("tbody", {}, told.fields.map(fieldRow))),
    node("details", {class: "bytes"}, node("summary", {}, "Bytes"),
      node("pre", {tabindex: "0", "aria-label": "Bytes of the message"}, dump(record.hex))));
  place.hidden = false;
  hear(told.summary);
}

// A row that shows its message below itself, and hides it again.
export function messageButton(record, ...what) {
  const place = node("div", {class: "decoded", hidden: true});
  const made = node("button", {type: "button", class: "row", "aria-expanded": "false", on: {
    async click() {
      const opens = place.hidden;
      made.setAttribute("aria-expanded", String(opens));
      if (opens) {
        await showMessage(place, record);
      } else {
        place.hidden = true;
      }
    },
  }}, ...what);
  return [made, place];
}
