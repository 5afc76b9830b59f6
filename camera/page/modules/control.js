// Control of the simulated camera over HTTP.

export class Failure extends Error {
  // status: of the answer, 0 when there is none.
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

const watchers = [];
let gone = null;

// Calls tell(whether the camera is gone) when that changes.
export function watchCamera(tell) {
  watchers.push(tell);
}

export function setGone(is) {
  if (gone !== is) {
    gone = is;
    watchers.forEach((tell) => tell(is));
  }
}

async function send(method, path, body) {
  try {
    return await fetch(path, {
      method, cache: "no-store",
      ...body === undefined ? {} : {body: JSON.stringify(body), headers: {"Content-Type": "application/json"}},
    });
  } catch (error) {
    setGone(true);
    throw new Failure(0, "the camera does not answer");
  }
}

// The result of an operation, and why some programs took no part: {document, missing}. Throws a Failure.
export async function askWhole(method, path, body) {
  const answer = await send(method, path, ["POST", "PUT", "PATCH"].includes(method) ? body ?? {} : undefined);
  let document = null;
  try {
    document = JSON.parse(await answer.text());
  } catch {
    // The web server itself has answered, in words of its own: control does not run, or the camera is just going.
    setGone(answer.status >= 500);
    throw new Failure(answer.status, `the web server answers ${answer.status}`);
  }
  setGone(false);
  if (!answer.ok) {
    throw new Failure(answer.status, document.error ?? `status ${answer.status}`);
  }
  return {document, missing: answer.headers.get("X-Simulator-Missing") ?? ""};
}

// The result alone: ask("PUT", "/simulator/state/recording", {value: "1"}).
export async function ask(method, path, body) {
  return (await askWhole(method, path, body)).document;
}

// A path with its parameters: pathOf("/simulator/faults/{id}", {id: "ble:1"}).
export function pathOf(template, given) {
  return template.replace(/\{(\w+)\}/g, (_, name) => encodeURIComponent(given[name]));
}
