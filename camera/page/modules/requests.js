// The requests that the camera has got, and the messages behind them.
import {button, fetched} from "./act.js";
import {askWhole, pathOf} from "./control.js";
import {labelled, node, Rows} from "./dom.js";
import {messageButton} from "./message.js";
import {showOne} from "./request.js";
import {clock, statusKind} from "./texts.js";
import {messages, requests} from "./traffic.js";

const SHOWN = 200;

function requestRow(request) {
  const status = node("span", {class: `badge ${statusKind(request.status)}`}, request.status || "none");
  const query = request.query ? `?${request.query}` : "";
  return {node: node("li", {"data-number": request.number},
    node("a", {class: "row", href: `#requests/${request.number}`},
      node("span", {class: "mono quiet"}, clock(request.time)), status,
      node("span", {class: "mono quiet ms"}, `${request.ms.toFixed(1)} ms`),
      request.fault ? node("span", {class: "badge bad"}, [request.fault].flat().join(" ")) : null,
      node("bdi", {class: "mono what"}, `${request.method || "-"} ${request.uri}${query}`)))};
}

function messageRow(record) {
  const arrow = record.direction === "in" ? "←" : "→";
  return {node: node("li", {},
    messageButton(record, node("span", {class: "mono quiet"}, record.time.slice(11, 23)),
      node("bdi", {class: "mono what"}, `${record.daemon} ${arrow} ${record.queue}`),
      node("span", {}, record.command || "?"),
      record.note && record.note !== "sent" ? node("span", {class: "badge warn"}, record.note) : null))};
}

function shows(list, empty, kept, place, fits) {
  const shown = () => {
    if (place.closest("[hidden]") || document.hidden) {
      return;
    }
    const found = kept.newest(SHOWN, fits);
    list.show(found);
    empty.hidden = found.length > 0;
  };
  kept.hears.push(shown);
  return shown;
}

function requestCard() {
  const list = node("ul", {class: "rows scroll", id: "request-list"});
  const empty = node("p", {class: "empty"}, "No request yet. Send one by “Ask”, or with curl.");
  const search = node("input", {type: "search", autocomplete: "off", placeholder: "a part of the path"});
  const card = node("div", {class: "card"}, node("h3", {}, "HTTP requests"), node("div", {class: "line"},
    labelled("Only", search), button("Forget them", "Forget the requests", () => {
      requests.clear();
      return ["DELETE", "/simulator/requests"];
    })), empty, list);
  const look = shows(new Rows(list, (each) => `${each.number} ${each.time}`, requestRow), empty, requests, card,
    (each) => `${each.uri}?${each.query}`.includes(search.value));
  search.addEventListener("input", look);
  return {card, look};
}

function messageCard() {
  const list = node("ul", {class: "rows scroll", id: "message-list"});
  const empty = node("p", {class: "empty"}, "No message yet.");
  const details = node("details", {class: "card"}, node("summary", {}, node("h3", {}, "Messages of the queues")),
    node("p", {class: "buttons"}, button("Forget them", "Forget the messages", () => {
      messages.clear();
      return ["DELETE", "/simulator/trace"];
    })), empty, list);
  const rows = new Rows(list, (each) => `${each.daemon} ${each.number} ${each.micros}`, messageRow);
  const look = shows(rows, empty, messages, list, () => details.open);
  details.addEventListener("toggle", look);
  return {card: details, look};
}

// Returns what is called whenever the view is shown; rest: the number of a request, or "".
export function showRequests(place) {
  const one = node("div", {class: "card", id: "request", tabindex: "-1"}, node("h3", {}, "One request"),
    node("p", {class: "empty"}, "Choose a request to see who sent what to whom."));
  const lists = [requestCard(), messageCard()];
  const side = node("div", {class: "side"}, lists.map((each) => each.card));
  place.append(node("div", {class: "columns one"}, side, one));
  return async (rest) => {
    lists.forEach((each) => each.look());
    place.querySelectorAll("[aria-current]").forEach((each) => each.removeAttribute("aria-current"));
    if (rest) {
      place.querySelector(`[data-number="${CSS.escape(rest)}"] a`)?.setAttribute("aria-current", "true");
      const path = pathOf("/simulator/requests/{number}", {number: rest});
      const told = await fetched(`Request ${rest}`, () => askWhole("GET", path));
      if (told && location.hash === `#requests/${rest}`) { // and not another one meanwhile
        showOne(one, told.document, told.missing);
        one.focus({preventScroll: true});
        one.scrollIntoView({block: "nearest"});
      }
    }
  };
}
