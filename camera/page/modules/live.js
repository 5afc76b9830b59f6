// What the page shows stays as the camera is: each resource is asked for once a second while somebody sees it.
import {ask} from "./control.js";
import {node, say} from "./dom.js";

const PERIOD = 1000;
const sources = new Map();

function isSeen(place) {
  return !document.hidden && place.isConnected && !place.closest("[hidden]");
}

class Source {
  constructor(path) {
    this.path = path;
    this.followers = [];
    this.wake = () => {};
    this.run();
  }

  async run() {
    for (;;) {
      if (this.followers.some((each) => isSeen(each.place))) {
        await this.once();
      }
      await new Promise((done) => {
        this.wake = done;
        setTimeout(done, PERIOD);
      });
    }
  }

  async once() {
    try {
      const value = await ask("GET", this.path);
      this.followers.forEach((each) => each.take(value));
    } catch (failure) {
      this.followers.forEach((each) => each.fail(failure));
    }
  }
}

// Calls take(value) with the document at a path again and again, while the place is seen. What fails is told in the
// place, beside what was known last; a place that is silent only looks old.
export function follow(path, place, take, silent = false) {
  if (!sources.has(path)) {
    sources.set(path, new Source(path));
  }
  const note = node("p", {class: "note bad", hidden: true});
  let placed = false;
  sources.get(path).followers.push({
    place,
    take(value) {
      note.hidden = true;
      place.classList.remove("stale");
      take(value);
    },
    fail(failure) {
      if (!placed && !silent) {
        place.append(note);
        placed = true;
      }
      say(note, `Not up to date: ${failure.message}.`);
      note.hidden = false;
      place.classList.add("stale");
    },
  });
}

// Asks at once, after something has been changed.
export function refresh() {
  sources.forEach((source) => source.wake());
}

document.addEventListener("visibilitychange", refresh);
