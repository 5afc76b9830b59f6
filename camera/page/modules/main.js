// The page: its parts, which of them is shown, and whether the camera is there.
import {showAir} from "./air.js";
import {showAnalytics} from "./analytics.js";
import {showAsk} from "./ask.js";
import {showCamera} from "./camera.js";
import {showChips} from "./chips.js";
import {watchCamera} from "./control.js";
import {node} from "./dom.js";
import {showFaults} from "./faults.js";
import {refresh} from "./live.js";
import {showPrograms} from "./programs.js";
import {showRequests} from "./requests.js";
import {showStream} from "./stream.js";
import {followTraffic} from "./traffic.js";

const RETRY = 1500;
const views = {
  async camera(place) {
    const columns = node("div", {class: "columns even"});
    const [left, right] = [node("div", {class: "side"}), node("div", {class: "side"})];
    columns.append(left, right);
    await showCamera(left);
    showPrograms(right);
    showStream(right);
    showAnalytics(right);
    place.append(columns);
  },
  air: showAir,
  ask: showAsk,
  requests: showRequests,
  faults: showFaults,
};
const shown = {};

// Makes a view. What the camera does not answer yet is asked for until it does.
async function make(name) {
  const place = document.getElementById(name);
  const title = place.firstElementChild;
  for (;;) {
    try {
      return await views[name](place) ?? (() => {});
    } catch (failure) {
      place.replaceChildren(title, node("p", {class: "note bad"}, `Not there yet: ${failure.message}.`));
      await new Promise((done) => setTimeout(done, RETRY));
      place.replaceChildren(title);
    }
  }
}

async function route() {
  const [name, rest = ""] = location.hash.slice(1).split("/");
  if (name === "content" && document.querySelector(".view:not([hidden])")) {
    return; // the link that skips the head
  }
  const chosen = Object.hasOwn(views, name) ? name : "camera";
  for (const place of document.querySelectorAll(".view")) {
    place.hidden = place.id !== chosen;
  }
  for (const link of document.querySelectorAll("nav a")) {
    const is = link.hash === `#${chosen}`;
    link.toggleAttribute("aria-current", is);
    if (is) {
      link.setAttribute("aria-current", "page");
    }
  }
  document.title = `${document.querySelector(`#${chosen} h2`).textContent} · Simulated camera`;
  shown[chosen] ??= make(chosen);
  refresh();
  (await shown[chosen])(rest);
}

const gone = document.getElementById("gone");
watchCamera((is) => {
  gone.hidden = !is;
  gone.textContent = is ? "The camera does not answer. What you see was known last; it is asked again and again." : "";
});
addEventListener("hashchange", route);
showChips();
followTraffic();
route();
