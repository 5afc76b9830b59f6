// Values as people read them.

// The time of day, of seconds since 1970.
export function clock(seconds) {
  const time = new Date(seconds * 1000);
  const two = (number) => String(number).padStart(2, "0");
  return `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}`
    + `.${String(time.getMilliseconds()).padStart(3, "0")}`;
}

// The colour of a status of HTTP; 0 is no answer.
export function statusKind(status) {
  return status === 0 || status >= 500 ? "bad" : status >= 400 ? "warn" : "good";
}

// Sixteen bytes a line: "0000  00 2d 00 02 ...  .-..".
export function dump(hex) {
  const bytes = hex.match(/../g) ?? [];
  const lines = [];
  for (let start = 0; start < bytes.length; start += 16) {
    const part = bytes.slice(start, start + 16);
    const text = part.map((each) => {
      const code = parseInt(each, 16);
      return code >= 0x20 && code < 0x7f ? String.fromCharCode(code) : ".";
    });
    lines.push(`${start.toString(16).padStart(4, "0")}  ${part.join(" ").padEnd(47)}  ${text.join("")}`);
  }
  return lines.join("\n");
}

export function hexOf(bytes) {
  return [...bytes].map((byte) => byte.toString(16).padStart(2, "0")).join("");
}

// A word for the shell, quoted when it has to be.
export function quoted(word) {
  return /^[\w@%+=:,./-]+$/.test(word) ? word : `'${word.replaceAll("'", "'\\''")}'`;
}

// The command that sends the same request. Without -g, curl reads brackets and braces as several addresses.
export function curlLine(url) {
  return `curl ${/[[\]{}]/.test(url) ? "-g " : ""}-i ${quoted(url)}`;
}
