// The tags that wait and the record of what went where. Both may be long: one part is asked for.

import { at, el, say, soon } from "./dom.js";
import { attempt, get } from "./live.js";

const PART = 50;
const NO_DEVICE = "4294967295";

at("clear").addEventListener("click", () => {
  const count = at("waiting-count").textContent;
  if (confirm(`Remove all ${count} waiting tags from the unit?`)) {
    attempt(at("mark-reply"), "clear", {}, () => "The list is cleared.");
  }
});

/** A list of which one part is shown as a table. */
class Part {
  constructor(name, empty, columns) {
    Object.assign(this, { name, empty, columns, from: 0, version: undefined });
    this.refresh = soon(() => this.load());
  }

  async load() {
    try {
      const answer = await (await get(`/${this.name}?from=${this.from}&count=${PART}`)).json();
      if (this.from > 0 && answer.rows.length === 0) {
        this.from = 0;
        this.refresh();
        return;
      }
      this.draw(answer);
    } catch {
      // The connection says that the rig is away.
    }
  }

  draw({ total, rows }) {
    say(at(`${this.name}-count`), String(total));
    const place = at(this.name);
    if (total === 0) {
      place.replaceChildren(el("p", { class: "quiet" }, this.empty));
      return;
    }
    const head = el("tr", {}, ...this.columns.map(([title]) => el("th", { scope: "col" }, title)));
    const body = rows.map((row) => el("tr", {}, ...this.columns.map(
      ([, cell]) => { const made = cell(row); return made instanceof Node ? el("td", {}, made) : el("td", {}, made ?? ""); })));
    place.replaceChildren(
      el("div", { class: "table", tabindex: "0", role: "region", "aria-labelledby": `${this.name}-title` },
        el("table", { "aria-labelledby": `${this.name}-title` }, el("thead", {}, head), el("tbody", {}, ...body))),
      this.pager(total));
  }

  pager(total) {
    if (total <= PART) {
      return "";
    }
    const move = (step) => () => { this.from = Math.max(0, this.from + step); this.load(); };
    const last = Math.min(total, this.from + PART);
    return el("div", { class: "pager" },
      el("button", { type: "button", onclick: move(-PART), disabled: this.from === 0 }, "Earlier"),
      el("span", {}, `${this.from + 1} to ${last} of ${total}`),
      el("button", { type: "button", onclick: move(PART), disabled: last >= total }, "Later"));
  }
}

/** All fields of a tag that are not in a column of their own, behind a word to open. */
function moreOf(tag, shown) {
  const rest = Object.entries(tag).filter(([key, value]) => !shown.includes(key) && value !== "");
  return el("details", {}, el("summary", {}, `${rest.length} more fields`),
    el("pre", { tabindex: "0" }, rest.map(([key, value]) => `${key}: ${value}`).join("\n")));
}

const SHOWN = ["Name", "Artist", "Album", "iTunesSongID", "StationCallLetters", "StationFrequency",
  "TimeStamp", "kind", "ButtonPressed"];

const waiting = new Part("waiting", "Nothing waits. Tag a song while no iPod is attached.", [
  ["Title", (tag) => el("b", {}, tag.Name || "no title")],
  ["Artist", (tag) => tag.Artist],
  ["Album", (tag) => tag.Album],
  ["Song id", (tag) => tag.iTunesSongID],
  ["Station", (tag) => [tag.StationCallLetters, tag.StationFrequency].filter(Boolean).join(" ")],
  ["Heard", (tag) => tag.TimeStamp],
  ["Kind", (tag) => (tag.kind === "Tag" ? "one song"
    : `candidate${tag.ButtonPressed === "1" ? ", pressed" : ""}`)],
  ["Everything", (tag) => moreOf(tag, SHOWN)],
]);

const record = new Part("record", "Nothing has gone to an iPod yet.", [
  ["Title", (entry) => el("b", {}, entry.Name || "no title")],
  ["Artist", (entry) => entry.Artist],
  ["Song id", (entry) => entry.iTunesSongID],
  ["For", (entry) => entry.devices.map((id) => (id === NO_DEVICE ? "no device named" : `iPod ${id}`)).join(", ")],
  ["Since", (entry) => hourOf(entry.Time)],
  ["Leaves the record", (entry) => ageOut(entry.Time)],
]);

const PARTS = /^(\d+)\/(\d+)\/(\d+)\/(\d+)$/;
const padded = (number) => String(number).padStart(2, "0");

function hourOf(time) {
  const parts = PARTS.exec(time);
  return parts ? `${parts[1]}-${parts[2]}-${parts[3]} ${parts[4]}:00` : "unknown";
}

/**
 * When an entry is left out: 30 days later on a calendar of 30-day months, so at the same day and
 * hour of the next month, or on the first of the one after it where that day does not exist.
 */
export function ageOut(time) {
  const parts = PARTS.exec(time);
  if (!parts) {
    return "never";
  }
  const [year, month, day, hour] = parts.slice(1).map(Number);
  const exists = day <= new Date(year, month + 1, 0).getDate();
  const moment = exists ? new Date(year, month, day, hour) : new Date(year, month + 1, 1, 0);
  return `${moment.getFullYear()}-${padded(moment.getMonth() + 1)}-${padded(moment.getDate())} `
    + `${padded(moment.getHours())}:00`;
}

export function begin() {
  waiting.refresh();
  record.refresh();
}

export function values(news) {
  if (news.files) {
    say(at("files-unreadable"), news.files.unreadable);
    waiting.refresh();
    record.refresh();
  }
}
