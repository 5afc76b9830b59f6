// Where everything of a request's picture stands: who takes part, and what was sent when.

const LANES = ["web server", "gateway", "zvControlD", "zvNetD", "zvBleD"];
const LANE_OF_QUEUE = {"/to_zvnet": "zvNetD", "/to_ble": "zvBleD"};
const WIDTH = 136;
const ROW = 34;
const LEFT = 84;
const TOP = 52;

function laneOfQueue(queue) {
  return LANE_OF_QUEUE[queue] ?? (queue.startsWith("/to_ZVCC") ? "gateway" : null);
}

function title(record) {
  const kind = record.direction === "in" ? "read" : "sent";
  return `${record.daemon} has ${kind}: ${record.command || "a message"}, ${record.hex.length / 2} bytes`
    + `${record.note ? ` (${record.note})` : ""}`;
}

// Each message stands once for the daemon that wrote it, and once for the one that read it. The two are one arrow.
function arrows(messages) {
  const events = [];
  for (const record of [...messages].sort((one, other) => one.micros - other.micros)) {
    const {micros, direction, daemon, queue, hex} = record;
    if (direction === "out") {
      const to = laneOfQueue(queue);
      const lost = !record.note.startsWith("sent");
      events.push({micros, from: daemon, to: to ?? daemon, record, lost, text: record.command || "?",
                   title: title(record), records: [record]});
      continue;
    }
    const sent = events.findLast((each) => each.record?.direction === "out" && each.to === daemon
      && each.record.hex === hex && each.records.length === 1);
    if (sent) {
      sent.records.push(record);
    } else {
      events.push({micros, from: "gateway", to: daemon, record, lost: false, text: record.command || "?",
                   title: title(record), records: [record]});
    }
  }
  return events;
}

function around(told) {
  const first = Math.round(told.time * 1e6);
  const last = Math.round(first + told.ms * 1000);
  const query = told.query ? `?${told.query}` : "";
  const asked = `${told.method} ${told.uri}${query}`;
  const events = [{micros: first, from: "client", to: "web server", text: asked, title: asked},
                  {micros: last, from: "web server", to: "client", lost: told.status === 0,
                   text: told.status ? String(told.status) : "no answer"}];
  if (told.opened !== null) {
    events.push({micros: told.opened, from: "gateway", to: "zvControlD", text: "opens the interface"});
  }
  if (told.pid !== null) {
    events.push({micros: first + 1, from: "web server", to: "gateway", text: "the request"},
                {micros: last - 1, from: "gateway", to: "web server", text: "its answer"});
  }
  return events;
}

function after(told, micros) {
  const ms = (micros - told.time * 1e6) / 1000;
  return ms > -0.05 && ms < 0.05 ? "0 ms" : `+${ms.toFixed(ms < 100 ? 2 : 0)} ms`;
}

// told: a request with its messages. Returns {lanes: [{name, x}], events: [{x1, x2, y, time, text}], width, height}.
export function layout(told) {
  const events = [...around(told), ...arrows(told.messages)].sort((one, other) => one.micros - other.micros);
  const used = LANES.filter((name) => events.some((each) => each.from === name || each.to === name));
  const lanes = used.map((name, place) => ({name, x: LEFT + 70 + place * WIDTH,
                                            under: name === "gateway" ? `process ${told.pid}` : ""}));
  const xOf = (name) => lanes.find((each) => each.name === name)?.x ?? LEFT;
  events.forEach((each, place) => {
    each.place = place;
    each.x1 = xOf(each.from);
    each.x2 = xOf(each.to);
    each.y = TOP + 26 + place * ROW;
    each.time = after(told, each.micros);
  });
  return {lanes, events, number: told.number, width: LEFT + 70 + (lanes.length - 1) * WIDTH + 70,
          height: TOP + 26 + events.length * ROW + 6, top: TOP};
}
