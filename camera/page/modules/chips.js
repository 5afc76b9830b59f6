// How the camera stands, in the page's head.
import {node, Rows, say} from "./dom.js";
import {follow} from "./live.js";
import {forgetTraffic} from "./traffic.js";

const known = {};

function chipRow() {
  const made = node("li", {class: "badge"});
  return {node: made, update(now) {
    say(made, now.text);
    made.className = `badge ${now.kind}`;
    made.dataset.chip = now.key;
  }};
}

function chips({state, programs, stream, faults}) {
  const found = [];
  if (state) {
    const {recording, ap_pairing_state: phase} = state.state;
    found.push({key: "recording", text: recording ? "recording" : "not recording", kind: recording ? "bad" : "quiet"},
      {key: "phase", text: phase ? "pairing phase" : "no pairing phase", kind: phase ? "warn" : "quiet"});
  }
  if (programs) {
    const ill = Object.entries(programs).filter(([, each]) => ["stopped", "ended"].includes(each.state));
    found.push({key: "programs", text: ill.length === 0 ? "all programs run"
      : ill.map(([name, each]) => `${name} ${each.state === "ended" ? "is gone" : "stands still"}`).join(", "),
    kind: ill.length === 0 ? "good" : "bad"});
  }
  if (stream) {
    found.push({key: "stream", text: stream.running ? "streaming" : "not streaming",
                kind: stream.running ? "good" : "quiet"});
  }
  if (faults) {
    found.push({key: "faults", text: faults.length === 1 ? "1 fault" : `${faults.length} faults`,
                kind: faults.length > 0 ? "warn" : "quiet"});
  }
  return found;
}

// Daemons that have begun anew number their messages from one, and have forgotten what they told before.
function hasBegunAnew(before, now) {
  return before !== undefined && ["zvNetD", "zvBleD"].some((name) => now[name]?.pid && before[name]?.pid
    && now[name].pid !== before[name].pid);
}

export function showChips() {
  const place = document.getElementById("chips");
  const rows = new Rows(place, (each) => each.key, chipRow);
  const paths = {state: "/simulator/state", programs: "/simulator/daemons", stream: "/simulator/stream",
                 faults: "/simulator/faults"};
  for (const [name, path] of Object.entries(paths)) {
    follow(path, place, (told) => {
      if (name === "programs" && hasBegunAnew(known.programs, told)) {
        forgetTraffic();
      }
      known[name] = told;
      rows.show(chips(known));
      if (name === "state") {
        say(document.getElementById("model"), told.identity.model_name || "Simulated camera");
      }
    }, true);
  }
}
