// The road from the radio to the iPod, with each tag moving along it as the events come.

import { at, el, parsed, say } from "./dom.js";
import { isBad, statusText, titles } from "./words.js";

const STEP = 900; // milliseconds from one station to the next
const MOST_MOVING = 6;
const LEGS = [["radio", "service"], ["service", "waiting"], ["service", "ipod"], ["waiting", "ipod"]];
const STORED_TAGS = new Set(["STORED_LOCAL", "STOREDLOCAL_IPOD_INCOMPATIBLE"]);

const road = at("road");
const requests = new Map(); // the songs of a request by the id of its call
let moving = 0;

new ResizeObserver(drawLines).observe(road);

function centre(station) {
  const box = at(`at-${station}`).getBoundingClientRect();
  const origin = road.getBoundingClientRect();
  return { x: box.x + box.width / 2 - origin.x, y: box.y + box.height / 2 - origin.y };
}

function drawLines() {
  at("road-lines").replaceChildren(...LEGS.map(([from, to]) => {
    const path = document.createElementNS("http://www.w3.org/2000/svg", "path");
    const [a, b] = [centre(from), centre(to)];
    // The way past the waiting tags goes around them.
    const passes = from === "service" && to === "ipod" && Math.abs(a.y - b.y) < 5;
    path.setAttribute("d", passes
      ? `M${a.x} ${a.y} Q${(a.x + b.x) / 2} ${a.y - 110} ${b.x} ${b.y}` : `M${a.x} ${a.y} L${b.x} ${b.y}`);
    return path;
  }));
}

export function begin() {
  requests.clear();
}

export function values(news) {
  if (news.localStatus) {
    const count = news.localStatus.Current;
    say(at("road-waiting"), count === 1 ? "1 tag" : `${count} tags`);
    at("at-waiting").classList.toggle("on", count > 0);
  }
  if (news.devices) {
    const names = news.devices.filter((device) => device.type === "ipod").map((device) => device.name);
    say(at("road-ipods"), names.join(", ") || "none attached");
    at("at-ipod").classList.toggle("on", names.length > 0);
  }
  if (news.present) {
    at("at-radio").classList.toggle("on", Boolean(news.present["com.veldan.service.Radio"]));
    at("at-service").classList.toggle("on", Boolean(news.present["com.veldan.service.Songlatch"]));
  }
}

export function entries(stream, list, isHistory) {
  if (isHistory) {
    return;
  }
  for (const entry of list) {
    if (stream === "bus") {
      onBus(entry);
    } else if (stream === "reports" && entry.event === "tags" && entry.errno !== 0) {
      flash("ipod");
      tell(`iPod ${entry.device} refused the list (${entry.vanished ? "it vanished" : `error ${entry.errno}`}).`);
    }
  }
}

function onBus(entry) {
  if (entry.kind === "call" && entry.member === "tagRequest") {
    const song = titles(parsed(entry.text)?.tags) || "a tag";
    requests.set(entry.id, song);
    move(song, "radio", "service");
    tell(`${song} was tagged.`);
  } else if (entry.kind === "reply" && requests.has(entry.id)) {
    const song = requests.get(entry.id);
    requests.delete(entry.id);
    arrived(song, parsed(entry.text));
  } else if (entry.kind === "signal" && entry.member === "transferStatus") {
    transferred(parsed(entry.text));
  }
}

function arrived(song, status) {
  tell(status ? `${song}: ${statusText(status)}.` : `${song}: no answer.`);
  if (status?.Name === "STORED_ON_TARGET") {
    move(song, "service", "ipod", STEP);
  } else if (STORED_TAGS.has(status?.Name)) {
    move(song, "service", "waiting", STEP);
  } else {
    setTimeout(() => flash("service"), STEP);
  }
}

function transferred(status) {
  const failed = isBad(status);
  move("the waiting tags", "waiting", "ipod", 0, failed);
  tell(`The waiting tags: ${statusText(status)}.`);
  if (failed) {
    setTimeout(() => flash("ipod"), STEP);
  }
}

function tell(text) {
  say(at("road-caption"), text);
}

function flash(station) {
  at(`at-${station}`).classList.add("bad");
  setTimeout(() => at(`at-${station}`).classList.remove("bad"), 2 * STEP);
}

/** Moves a song from one station to the next. Where many come at once, the numbers tell enough. */
function move(song, from, to, delay = 0, bad = false) {
  const still = matchMedia("(prefers-reduced-motion: reduce)").matches;
  if (still || moving >= MOST_MOVING || document.hidden) {
    return;
  }
  ++moving;
  const token = el("div", { class: `token${bad ? " bad" : ""}`, "aria-hidden": "true" }, `♪ ${song}`);
  road.append(token);
  const place = ({ x, y }) => `translate(${x - token.offsetWidth / 2}px, ${y - 1.9 * token.offsetHeight}px)`;
  const animation = token.animate(
    [{ transform: place(centre(from)), opacity: 0 }, { opacity: 1, offset: 0.2 },
      { opacity: 1, offset: 0.85 }, { transform: place(centre(to)), opacity: 0 }],
    { duration: STEP, delay, easing: "ease-in-out", fill: "both" });
  animation.onfinish = () => { token.remove(); --moving; };
}
