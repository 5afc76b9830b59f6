// Sends a request as an application would, and shows the answer as it came.
import {fetched, tell} from "./act.js";
import {ask} from "./control.js";
import {node} from "./dom.js";
import {dump, hexOf, statusKind} from "./texts.js";

const LONGEST = 16384; // characters of a body that are shown

// What came, however it ended: {status, headers, bytes, ms, failure}.
export async function send(method, path, signal) {
  const start = performance.now();
  const came = {status: 0, headers: [], bytes: new Uint8Array(), failure: ""};
  const parts = [];
  try {
    const answer = await fetch(path, {method, cache: "no-store", signal});
    Object.assign(came, {status: answer.status, reason: answer.statusText, headers: [...answer.headers]});
    const reader = answer.body?.getReader();
    for (let part = await reader?.read(); part && !part.done; part = await reader.read()) {
      parts.push(part.value);
    }
  } catch (error) {
    came.failure = error.name === "AbortError" ? "given up" : came.status ? "the answer was cut off" : "no answer came";
  }
  came.ms = performance.now() - start;
  came.bytes = new Uint8Array(await new Blob(parts).arrayBuffer());
  return came;
}

// A body as a text, or as hexadecimal when it is none.
export function bodyText(bytes) {
  try {
    return {text: new TextDecoder("utf-8", {fatal: true, ignoreBOM: true}).decode(bytes), is: "text"};
  } catch {
    return {text: dump(hexOf(bytes.slice(0, LONGEST / 4))), is: "bytes"};
  }
}

// A body as a parser reads it: {parsed} or {problem}.
export function parse(text) {
  try {
    return {parsed: JSON.stringify(JSON.parse(text), null, 2)};
  } catch (error) {
    return {problem: error.message};
  }
}

function bounded(text) {
  return text.length > LONGEST ? `${text.slice(0, LONGEST)}\n… ${text.length - LONGEST} characters more` : text;
}

function shownBody(came) {
  const {text, is} = bodyText(came.bytes);
  const isJson = came.headers.some(([name, value]) => name === "content-type" && value.includes("json"));
  const block = (title, content, name) => node("div", {class: "body"}, node("h4", {}, title),
    node("pre", {tabindex: "0", "aria-label": title, "data-body": name}, bounded(content)));
  if (came.bytes.length === 0) {
    return [node("p", {class: "empty"}, "No body.")];
  }
  const sent = block(`Body as sent · ${came.bytes.length} bytes${is === "bytes" ? ", no UTF-8" : ""}`, text, "sent");
  if (!isJson || is === "bytes") {
    return [sent];
  }
  const {parsed, problem} = parse(text);
  return [sent, problem ? node("p", {class: "note bad", "data-body": "problem"}, `No parser reads it: ${problem}`)
    : block("As parsed", parsed, "parsed")];
}

// The number of the request that has just been answered: the newest that looks like it.
async function numberOf(path) {
  const [uri, query = ""] = path.split(/\?(.*)/s);
  const told = await ask("GET", "/simulator/requests?lines=20");
  return told.requests.findLast((each) => each.uri === uri && each.query === query)?.number;
}

function pictureButton(path) {
  return node("button", {type: "button", on: {
    async click() {
      const number = await fetched("Find the request", () => numberOf(path));
      if (number) {
        location.hash = `#requests/${number}`;
      } else if (number === undefined) {
        tell("The camera does not remember this request", true);
      }
    },
  }}, "Show it as a picture");
}

// operation: of the contract. path: as it was sent.
export function showAnswer(place, operation, path, came) {
  const known = operation.statuses.includes(String(came.status)) || operation.statuses.includes("default");
  place.replaceChildren(
    node("p", {class: "asked"},
      node("span", {class: `badge ${statusKind(came.status)}`, "data-status": came.status},
        came.status ? `${came.status} ${came.reason}`.trim() : "no answer"),
      node("span", {class: "quiet", "data-ms": Math.round(came.ms)}, `${came.ms.toFixed(1)} ms`),
      came.status && !known ? node("span", {class: "badge bad"}, "not in the contract") : null,
      came.failure ? node("span", {class: "badge bad"}, came.failure) : null),
    node("p", {class: "buttons"}, pictureButton(path)),
    came.headers.length > 0 ? node("details", {open: true}, node("summary", {}, "Headers"),
      node("dl", {class: "pairs"}, came.headers.map(([name, value]) =>
        node("div", {class: "pair"}, node("dt", {class: "mono"}, name), node("dd", {class: "mono"}, value))))) : "",
    ...shownBody(came));
}
