// One request: its picture, the message that is chosen in it, and what was logged.
import {tell} from "./act.js";
import {node} from "./dom.js";
import {showMessage} from "./message.js";
import {layout} from "./layout.js";
import {asFile, choose, draw} from "./picture.js";
import {statusKind} from "./texts.js";

function save(picture, number) {
  const url = URL.createObjectURL(new Blob([asFile(picture)], {type: "image/svg+xml"}));
  node("a", {href: url, download: `request-${number}.svg`}).click();
  setTimeout(() => URL.revokeObjectURL(url), 10000);
  tell(`Saved as request-${number}.svg`);
}

function logRow(request, record) {
  const after = (record.time - request.time) * 1000;
  return node("li", {"data-micros": Math.round(record.time * 1e6)},
    node("span", {class: "mono quiet"}, `${after < 0 ? "" : "+"}${after.toFixed(1)} ms`),
    node("span", {class: "source"}, record.source), node("bdi", {class: "mono what"}, record.text.trimEnd()));
}

// The log lines that were written between a message and the next one.
function mark(lines, events, chosen) {
  const from = chosen.micros;
  const next = events.find((each) => each.micros > from);
  lines.forEach((line) => {
    const micros = Number(line.dataset.micros);
    line.classList.toggle("chosen", micros >= from && (!next || micros < next.micros));
  });
}

// told: what GET /simulator/requests/{number} answers. missing: who could not be asked, and why.
export function showOne(place, told, missing) {
  const query = told.query ? `?${told.query}` : "";
  const plan = layout(told);
  const message = node("div", {class: "decoded", id: "message"},
    node("p", {class: "empty"}, told.messages.length > 0 ? "Choose a message in the picture to read its bytes."
      : "No message was sent for this request."));
  const lines = told.log.map((each) => logRow(told, each));
  const picture = draw(plan, async (event) => {
    choose(picture, event.place);
    mark(lines, plan.events, event);
    await showMessage(message, event.record);
  });
  place.replaceChildren(
    node("h3", {}, `Request ${told.number}`),
    node("p", {class: "asked"}, node("span", {class: `badge ${statusKind(told.status)}`}, told.status || "no answer"),
      node("bdi", {class: "mono what"}, `${told.method || "-"} ${told.uri}${query}`)),
    node("p", {class: "quiet"}, `${told.ms.toFixed(1)} ms · ${told.bytes} bytes`
      + ` · ${told.pid === null ? "no gateway ran" : `gateway ${told.pid}`}`
      + `${told.fault ? ` · hit by ${[told.fault].flat().join(", ")}` : ""}`),
    node("p", {class: "buttons"}, node("button", {type: "button", on: {click: () => save(picture, told.number)}},
      "Save the picture")),
    missing ? node("p", {class: "note warn"}, `Messages may be missing: ${missing}.`) : "",
    node("div", {class: "picture", role: "group", "aria-label": "Who sent what to whom", tabindex: "0"}, picture),
    node("div", {class: "beside"}, message, node("div", {}, node("h4", {}, "Log lines"),
      lines.length > 0 ? node("ul", {class: "log plain", id: "request-log"}, lines)
        : node("p", {class: "empty"}, "Nothing was logged meanwhile."))));
}
