// Every URI of the contract as a form.
import {hear, tell} from "./act.js";
import {send, showAnswer} from "./answer.js";
import {contract} from "./contract.js";
import {labelled, node, prose} from "./dom.js";
import {curlLine} from "./texts.js";

const SHOWN = 6; // parameters; what is beyond them opens on demand

// The path of a request as it is sent: names and texts that are given, and what was typed as it is. Browsers encode
// what may not stand in a path, and would leave out what follows "#".
export function pathWith(path, pairs, more) {
  const query = pairs.filter(([, text]) => text !== "")
    .map(([name, text]) => `${name}=${encodeURIComponent(text)}`);
  const all = [...query, ...more ? [more.replaceAll("#", "%23")] : []].join("&");
  const sent = new URL(all ? `${path}?${all}` : path, location.origin);
  return sent.pathname + sent.search;
}

function fieldOf(parameter, id) {
  const {name, required, values, help} = parameter;
  const list = `${id}-values`;
  const input = node("input", {id, name, class: "mono", autocomplete: "off", spellcheck: "false",
                               value: required ? values[0] ?? "" : "", placeholder: values[0] ?? "",
                               list: values.length > 0 ? list : null, "aria-describedby": help ? `${id}-help` : null});
  const made = labelled(required ? `${name} (required)` : name, input);
  if (values.length > 0) {
    made.append(node("datalist", {id: list}, values.map((value) => node("option", {value}))));
  }
  if (help) {
    made.append(prose(help, {id: `${id}-help`}));
  }
  return made;
}

function fields(operation, id) {
  const made = operation.parameters.map((parameter, place) => fieldOf(parameter, `${id}-${place}`));
  return [...made.slice(0, SHOWN), made.length > SHOWN
    ? node("details", {class: "change"}, node("summary", {}, `${made.length - SHOWN} parameters more`),
      made.slice(SHOWN)) : null];
}

function copyButton(line) {
  return node("button", {type: "button", on: {
    async click() {
      try {
        await navigator.clipboard.writeText(line.textContent);
        tell("The curl line is copied");
      } catch {
        getSelection().selectAllChildren(line);
        tell("The curl line is selected: copy it by the keyboard");
      }
    },
  }}, "Copy");
}

function operationForm(operation, id) {
  const line = node("code", {class: "mono", tabindex: "0", "aria-label": "curl line"});
  const place = node("div", {class: "answer"});
  const more = labelled("More, as it is", node("input", {name: "", class: "mono", autocomplete: "off",
                                                         spellcheck: "false", placeholder: "x=%zz&y"}));
  let running = null;
  const made = node("form", {on: {
    input: show,
    async submit(event) {
      event.preventDefault();
      running?.abort();
      running = new AbortController();
      const {signal} = running;
      const path = pathNow();
      stop.hidden = false;
      const came = await send(operation.method, path, signal);
      if (signal === running.signal) {
        stop.hidden = true;
        showAnswer(place, operation, path, came);
        hear(`Answer: ${came.status || "none"}, ${came.bytes.length} bytes`);
      }
    },
  }}, node("div", {class: "grid"}, fields(operation, id), more),
  node("p", {class: "curl"}, line, copyButton(line)));
  const stop = node("button", {type: "button", hidden: true, on: {click: () => running?.abort()}}, "Give up");
  made.append(node("p", {class: "buttons"}, node("button", {type: "submit", class: "main"}, "Send"), stop));

  function pathNow() {
    const inputs = [...made.querySelectorAll("input[name]")];
    return pathWith(operation.path, inputs.filter((each) => each.name).map((each) => [each.name, each.value]),
      more.querySelector("input").value);
  }

  function show() {
    line.textContent = curlLine(location.origin + pathNow());
  }

  show();
  return node("details", {class: "card operation", "data-path": operation.path},
    node("summary", {}, node("span", {class: "mono"}, operation.path), node("span", {class: "quiet"}, operation.title),
      operation.changes ? node("span", {class: "badge warn"}, "changes") : null),
    operation.help ? prose(operation.help) : null, made, place);
}

export async function showAsk(place) {
  const list = node("div", {class: "operations"});
  place.append(list);
  const found = await contract();
  list.append(...found.map((operation, number) => operationForm(operation, `ask-${number}`)));
}
