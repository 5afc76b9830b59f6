// Buttons that do something to the camera, and what came of it.
import {ask} from "./control.js";
import {node, printable} from "./dom.js";
import {refresh} from "./live.js";

const SHOWN = 6000;
let timer = null;

// Tells what happened, where screen readers hear it.
export function tell(text, bad = false) {
  const place = document.getElementById("told");
  place.textContent = printable(text);
  place.className = bad ? "told bad" : "told";
  clearTimeout(timer);
  timer = setTimeout(() => {
    place.textContent = "";
  }, SHOWN);
}

// Tells those who do not see it what has come into view.
export function hear(text) {
  document.getElementById("heard").textContent = printable(text);
}

// Fetches what is to be shown; returns null and tells it when that failed.
export async function fetched(what, work) {
  try {
    return await work();
  } catch (failure) {
    tell(`${what}: ${failure.message}`, true);
    return null;
  }
}

// Does it, tells how it went, and shows the camera anew. Returns the result, or null when it failed.
export async function act(what, work) {
  try {
    const result = await work();
    tell(`${what}: done`);
    return result ?? {};
  } catch (failure) {
    tell(`${what}: ${failure.message}`, true);
    return null;
  } finally {
    refresh();
  }
}

// A button for one operation. request(): [method, path, body]. what: for those who do not see what is around it.
export function button(text, what, request, more = {}) {
  const made = node("button", {type: "button", "aria-label": what === text ? null : what, ...more, on: {
    async click() {
      if (made.getAttribute("aria-busy") === "true") {
        return;
      }
      made.setAttribute("aria-busy", "true");
      await act(what, () => ask(...request()));
      made.removeAttribute("aria-busy");
    },
  }}, text);
  return made;
}

// A form that does one operation when it is submitted.
export function form(text, what, request, ...fields) {
  return node("form", {class: "line", on: {
    async submit(event) {
      event.preventDefault();
      await act(what, () => ask(...request(new FormData(event.target))));
    },
  }}, ...fields, node("button", {type: "submit"}, text));
}
