// Every call on the bus with its reply and the time it took, and the signals between them.

import { at, el, say, shortName, show, soon } from "./dom.js";

const MOST = 60;
const OWN = "org.freedesktop.DBus";

let calls = new Map(); // by their ids; a Map keeps the order in which they came
const redraw = soon(draw);

at("bus-own").addEventListener("change", redraw);

export function begin() {
  calls = new Map();
  redraw();
}

export function values(news) {
  if ("watching" in news) {
    say(at("bus-watching"), news.watching ?? "");
    show(at("bus-watching"), Boolean(news.watching));
  }
}

export function entries(stream, list) {
  if (stream !== "bus") {
    return;
  }
  for (const entry of list) {
    if (entry.kind === "reply") {
      const call = calls.get(entry.id);
      if (call) {
        call.reply = entry;
      }
    } else {
      calls.set(entry.kind === "call" ? entry.id : `signal ${entry.n}`, entry);
    }
  }
  for (const key of calls.keys()) {
    if (calls.size <= 3 * MOST) {
      break;
    }
    calls.delete(key);
  }
  redraw();
}

const isOwn = (entry) => entry.from.startsWith(OWN) || entry.to?.startsWith(OWN);
const clock = (time) => new Date(time).toLocaleTimeString("en-GB");

function draw() {
  const all = at("bus-own").checked;
  const shown = [...calls.values()].filter((entry) => all || !isOwn(entry)).slice(-MOST).reverse();
  at("bus").replaceChildren(...(shown.length ? shown.map(drawn) : [el("p", { class: "quiet" }, "Silence so far.")]));
}

function drawn(entry) {
  const isCall = entry.kind === "call";
  const way = isCall ? `${shortName(entry.from)} → ${shortName(entry.to)}` : shortName(entry.from);
  return el("div", { class: `call ${entry.kind}` },
    el("div", { class: "line" }, el("span", {}, el("b", {}, entry.member), ` ${way}`),
      el("span", { class: "quiet" }, isCall ? tookOf(entry) : "signal", ` · ${clock(entry.time)}`)),
    entry.text ? el("div", { class: "text mono" }, entry.text) : null,
    entry.reply ? el("div", { class: `text mono${entry.reply.error ? " failed" : ""}` },
      `⤷ ${entry.reply.error ? `${entry.reply.error}: ` : ""}${entry.reply.text}`) : null);
}

function tookOf(call) {
  if (call.reply) {
    return `${call.reply.milliseconds.toFixed(2)} ms`;
  }
  return call.wantsReply ? "no answer yet" : "no answer wanted";
}
