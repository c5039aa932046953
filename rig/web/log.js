// The service's log as it grows. The service does one thing after the other and frames each with
// lines of dashes, so that the lines of one request stand between two frames.

import { at, el, soon } from "./dom.js";

const MOST_GROUPS = 60;
const MOST_LINES = 400; // of one group
const MOST_SHOWN = 200; // of all; the newest request whole
const START = /-----< START >-----$/;
const END = /-----< END >-----$/;
const FRAME = /: -{20}$/;
const BIRTH = /-----> Starting version/;
const NAME = /: (?:Method|ResultName): (.*)$/;

let groups = [];
let open = null;
const redraw = soon(draw);

export function begin() {
  groups = [];
  open = null;
  redraw();
}

export function entries(stream, list) {
  if (stream === "log") {
    list.forEach(({ line }) => take(line));
    groups = groups.slice(-MOST_GROUPS);
    redraw();
  }
}

function newGroup(kind, title) {
  open = { kind, title, lines: [] };
  groups.push(open);
  return open;
}

function take(line) {
  const starts = START.test(line) || BIRTH.test(line) || (FRAME.test(line) && open?.kind !== "event");
  if (BIRTH.test(line)) {
    newGroup("start", "The service starts");
  } else if (START.test(line)) {
    newGroup("request", "A request");
  } else if (FRAME.test(line) && starts) {
    newGroup("event", "An answer or a signal");
  } else if (!open) {
    newGroup("other", "Between requests");
  }
  open.lines.push(line);
  if (open.lines.length > MOST_LINES) {
    open.lines.shift();
  }
  const name = NAME.exec(line);
  if (name && (open.kind === "request" || open.kind === "event")) {
    open.title = `${open.kind === "request" ? "Request" : "News"}: ${name[1]}`;
  }
  if (END.test(line) || (FRAME.test(line) && !starts)) {
    open = null;
  }
}

function newest() {
  let lines = 0;
  return [...groups].reverse().filter((group, index) => {
    lines += group.lines.length;
    return index === 0 || lines <= MOST_SHOWN;
  });
}

function draw() {
  const place = at("log");
  const shown = newest().map((group) => {
    const failed = group.lines.some((line) => line.startsWith("Error"));
    return el("div", { class: `group ${group.kind}${failed ? " failed" : ""}` },
      el("h3", {}, group.title, el("span", { class: "quiet" }, `${group.lines.length} lines`)),
      el("div", { class: "lines" }, ...group.lines.map(drawnLine)));
  });
  const before = place.scrollTop;
  place.replaceChildren(...(shown.length ? shown : [el("p", { class: "quiet" }, "Nothing has been logged yet.")]));
  place.scrollTop = at("log-follow").checked ? 0 : before;
}

function drawnLine(line) {
  const level = /^(Error|Warning)/.exec(line)?.[1] ?? "";
  return el("div", { class: level }, line);
}
