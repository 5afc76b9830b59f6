// Signal strength over time, as a line.
import {svg} from "./dom.js";

const SECONDS = 60;
const GAP = 5; // seconds without a value, after which a line begins anew
const WIDTH = 120;
const HEIGHT = 28;
const [LOWEST, HIGHEST] = [-100, -30];

function placeOf(ago, value) {
  const within = Math.min(Math.max(value, LOWEST), HIGHEST);
  const y = HEIGHT - 2 - (within - LOWEST) / (HIGHEST - LOWEST) * (HEIGHT - 4);
  return `${(WIDTH - ago * WIDTH / SECONDS).toFixed(1)} ${y.toFixed(1)}`;
}

// The line through values and how many seconds ago they were: lineOf([[2, -60], [1, null], [0, -70]]). There are gaps
// where there is none, and a value that stands alone is a dot.
export function lineOf(values) {
  let before = null;
  let line = "";
  for (const [ago, value] of values) {
    if (value !== null) {
      line += before !== null && before - ago <= GAP ? `L${placeOf(ago, value)}` : `M${placeOf(ago, value)}h0`;
    }
    before = value === null ? null : ago;
  }
  return line;
}

// A graph of the last minute. add(value): a number, or null when there is none.
export function graph() {
  const path = svg("path", {class: "line"});
  const newest = svg("path", {class: "line newest"});
  const values = [];
  return {
    node: svg("svg", {class: "graph", viewBox: `0 0 ${WIDTH} ${HEIGHT}`, preserveAspectRatio: "none",
                      "aria-hidden": "true"}, path, newest),
    add(value) {
      const now = performance.now() / 1000;
      values.push([now, value]);
      values.splice(0, values.findIndex(([at]) => now - at <= SECONDS));
      path.setAttribute("d", lineOf(values.map(([at, each]) => [now - at, each])));
      newest.setAttribute("d", lineOf([[0, value]]));
    },
  };
}
