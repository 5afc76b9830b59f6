// What the page shows stays as the camera is: each resource is asked for once a second while somebody sees it.
import {askWhole} from "./control.js";
import {node, say, setClass} from "./dom.js";

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
      const {document: told, missing} = await askWhole("GET", this.path);
      this.followers.forEach((each) => each.take(told, missing));
    } catch (failure) {
      this.followers.forEach((each) => each.fail(failure));
    }
  }
}

// Calls take(value, missing) with the document at a path again and again, while the place is seen; missing: why some
// programs did not tell. What fails is told at the top of the place, above what was known last; a silent place only
// looks old.
export function follow(path, place, take, silent = false) {
  if (!sources.has(path)) {
    sources.set(path, new Source(path));
  }
  const note = node("p", {class: "note bad", hidden: true});

  function tell(text) {
    if (text !== "" && !silent && !note.isConnected) {
      place.firstElementChild.after(note);
    }
    say(note, text);
    note.hidden = text === "";
    setClass(place, "stale", text !== "");
  }

  sources.get(path).followers.push({
    place,
    take(value, missing) {
      tell(missing ? `Not complete: ${missing}.` : "");
      take(value, missing);
    },
    fail(failure) {
      tell(`Not up to date: ${failure.message}.`);
    },
  });
}

// Asks at once, after something has been changed.
export function refresh() {
  sources.forEach((source) => source.wake());
}

document.addEventListener("visibilitychange", refresh);
