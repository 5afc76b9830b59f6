// Draws a request: a line down for each program, an arrow across for each message, the time beside.
import {svg} from "./dom.js";

const HEAD = 7;
const LONGEST = 46;
// The file is looked at without the page, so it brings its own colours.
const STYLE = "svg{background:#fff;font:12px system-ui,sans-serif}"
  + "text{fill:#1b1f24;paint-order:stroke;stroke:#fff;stroke-width:3px}.time,.under{fill:#5b6470}"
  + ".lane{stroke:#c5ccd5}.arrow{stroke:#0b62d6;stroke-width:1.5}.head{fill:#0b62d6}"
  + ".around .arrow{stroke:#5b6470}.around .head{fill:#5b6470}.lost .arrow{stroke:#c62828;stroke-dasharray:4 3}"
  + ".lost .head{fill:#c62828}.lane-name{font-weight:600}.hit,.focus{fill:none;stroke:none}";

function short(text) {
  const characters = [...text];
  return characters.length > LONGEST ? `${characters.slice(0, LONGEST - 1).join("")}…` : text;
}

function head(x, y, right) {
  const back = right ? x - HEAD : x + HEAD;
  return svg("path", {class: "head", d: `M${x} ${y}L${back} ${y - 4}L${back} ${y + 4}Z`});
}

function arrow(event) {
  const {x1, x2, y} = event;
  if (x1 === x2) {
    return [svg("path", {class: "arrow", fill: "none", d: `M${x1} ${y - 5}h22v10h-22`}), head(x1, y + 5, false)];
  }
  return [svg("line", {class: "arrow", x1, y1: y, x2, y2: y}), head(x2, y, x2 > x1)];
}

function label(event) {
  const {x1, x2, y} = event;
  if (x1 === x2) {
    return svg("text", {x: x1 + 28, y: y + 4}, short(event.text));
  }
  // What comes in from outside begins at the left edge and may be long.
  const inner = event.from === "client" || event.to === "client";
  return svg("text", {x: inner ? Math.min(x1, x2) + 4 : (x1 + x2) / 2, y: y - 5,
                      "text-anchor": inner ? "start" : "middle"}, short(event.text));
}

function eventNode(event, width, choose) {
  const {record} = event;
  const act = record ? {tabindex: "0", role: "button", "aria-label": `${event.time}, ${event.title}`,
                        "data-number": event.records.map((each) => `${each.daemon}:${each.number}`).join(" "), on: {
    click: () => choose(event),
    keydown: (key) => {
      if (key.key === "Enter" || key.key === " ") {
        key.preventDefault();
        choose(event);
      }
    },
  }} : {};
  const kind = `event${record ? " message" : " around"}${event.lost ? " lost" : ""}`;
  return svg("g", {class: kind, "data-place": event.place, "data-from": event.from, "data-to": event.to, ...act},
    svg("rect", {class: "hit", x: 0, y: event.y - 19, width, height: 32, rx: 4}),
    svg("text", {class: "time", x: 6, y: event.y + 4}, event.time), arrow(event), label(event),
    event.title ? svg("title", {}, event.title) : null);
}

// plan: of layout(). onChoose(event): somebody wants to read a message.
export function draw(plan, onChoose) {
  const {width, height, top} = plan;
  const lanes = plan.lanes.map(({name, x, under}) => svg("g", {class: "lane-of", "data-lane": name},
    svg("line", {class: "lane", x1: x, y1: top, x2: x, y2: height - 6}),
    svg("text", {class: "lane-name", x, y: 20, "text-anchor": "middle"}, name),
    svg("text", {class: "under", x, y: 36, "text-anchor": "middle"}, under)));
  return svg("svg", {class: "sequence", viewBox: `0 0 ${width} ${height}`, width, height, role: "group",
                     "aria-label": `Request ${plan.number}`},
    lanes, plan.events.map((event) => eventNode(event, width, onChoose)));
}

// Marks the message that is read.
export function choose(picture, place) {
  for (const each of picture.querySelectorAll("g.message")) {
    const is = each.dataset.place === String(place);
    each.classList.toggle("chosen", is);
    each.setAttribute("aria-pressed", String(is));
  }
}

// The picture as the text of a file.
export function asFile(picture) {
  const copy = picture.cloneNode(true);
  copy.querySelectorAll("[tabindex]").forEach((each) => each.removeAttribute("tabindex"));
  const text = new XMLSerializer().serializeToString(copy);
  return text.replace(/>/, `><style>${STYLE}</style>`);
}
