// Events of the camera, as they happen. A hidden page follows nothing: browsers open few connections to one server.

const PATIENCE = 1500;

// Calls take(document) for each event, and opened() whenever they begin anew.
export function followEvents(path, opened, take) {
  let source = null;
  let timer = null;

  function close() {
    clearTimeout(timer);
    source?.close();
    source = null;
  }

  function again() {
    close();
    timer = setTimeout(open, PATIENCE);
  }

  function open() {
    close();
    if (document.hidden) {
      return;
    }
    source = new EventSource(path);
    source.onopen = opened;
    source.onmessage = (event) => take(JSON.parse(event.data));
    source.onerror = again;
    source.addEventListener("end", again);
  }

  document.addEventListener("visibilitychange", open);
  open();
  return {restart: open};
}
