// The HTTP requests and the messages of the queues, as they come: the last thousand of each.
import {ask} from "./control.js";
import {followEvents} from "./events.js";

const KEPT = 1000;
const PERIOD = 250; // milliseconds between two looks at what has come

// The newest ones, each once. key(item): a text or number, another one for each. order(item): they come nearly so.
class Kept {
  constructor(key, order) {
    this.key = key;
    this.order = order;
    this.items = new Map();
    this.hears = [];
    this.timer = null;
  }

  add(item) {
    this.items.set(this.key(item), item);
    if (this.items.size > KEPT) {
      this.items.delete(this.items.keys().next().value);
    }
    this.tellSoon();
  }

  clear() {
    this.items.clear();
    this.tellSoon();
  }

  // The newest first.
  newest(count, fits = () => true) {
    const found = [...this.items.values()].filter(fits);
    return found.sort((one, other) => this.order(other) - this.order(one)).slice(0, count);
  }

  tellSoon() {
    this.timer ??= setTimeout(() => {
      this.timer = null;
      this.hears.forEach((hear) => hear());
    }, PERIOD);
  }
}

export const requests = new Kept((each) => each.number, (each) => each.number);
export const messages = new Kept((each) => `${each.daemon} ${each.number} ${each.micros}`, (each) => each.micros);
const streams = [];
let since = null; // requests that came while the camera is asked for those before

// What was known before goes: another camera may have come to the port, and it counts from one, too.
async function catchUp() {
  const later = since = [];
  try {
    const told = await ask("GET", "/simulator/requests");
    if (since === later) {
      since = null;
      requests.clear();
      [...told.requests, ...later.filter((each) => each.number >= told.next)].forEach((each) => requests.add(each));
    }
  } catch {
    // The events end, too, and begin anew when the camera is there again.
  }
}

function takeRequest(request) {
  since?.push(request);
  requests.add(request);
}

// Begins to follow both.
export function followTraffic() {
  streams.push(followEvents("/simulator/requests/events", catchUp, takeRequest),
    followEvents("/simulator/trace/events", () => messages.clear(), (each) => messages.add(each)));
}

// What was known is of no use any more: the camera has begun anew.
export function forgetTraffic() {
  requests.clear();
  messages.clear();
  streams.forEach((each) => each.restart());
}
