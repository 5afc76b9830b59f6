// Signal strength over time, as a line.
import {svg} from "./dom.js";

const POINTS = 60;
const WIDTH = 120;
const HEIGHT = 28;
const [LOWEST, HIGHEST] = [-100, -30];

// The line through values, the newest at the right end; gaps where there is none: lineOf([-60, null, -70]).
export function lineOf(values) {
  let pen = "M";
  let line = "";
  values.forEach((value, place) => {
    if (value === null) {
      pen = "M";
      return;
    }
    const x = WIDTH - (values.length - 1 - place) * WIDTH / (POINTS - 1);
    const within = Math.min(Math.max(value, LOWEST), HIGHEST);
    const y = HEIGHT - 2 - (within - LOWEST) / (HIGHEST - LOWEST) * (HEIGHT - 4);
    line += `${pen}${x.toFixed(1)} ${y.toFixed(1)}`;
    pen = "L";
  });
  return line;
}

// A graph of the last minute. add(value): a number, or null when there is none.
export function graph() {
  const path = svg("path", {class: "line"});
  const values = [];
  return {
    node: svg("svg", {class: "graph", viewBox: `0 0 ${WIDTH} ${HEIGHT}`, preserveAspectRatio: "none",
                      "aria-hidden": "true"}, path),
    add(value) {
      values.push(value);
      values.splice(0, values.length - POINTS);
      path.setAttribute("d", lineOf(values));
    },
  };
}
