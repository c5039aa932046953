// The attached iPods: what they can, what they have taken, how they are told to fail.

import { at, el, show } from "./dom.js";
import { attempt, get } from "./live.js";

const TAKES_TAGS = 8;
const ERRNOS = ["ENOSPC", "EIO", "EROFS", "ENODEV", "EBUSY", "ETIMEDOUT", "EACCES", "EINVAL"];
const reply = at("ipods-reply");
const cards = new Map();

at("attach").addEventListener("submit", (event) => {
  event.preventDefault();
  const fields = new FormData(event.target);
  const id = Number(fields.get("id"));
  attempt(reply, "attach", { id, name: fields.get("name"), caps: fields.get("caps") },
    () => `iPod ${id} is attached.`);
});

export function begin() {
  cards.clear();
  at("ipod-list").replaceChildren();
}

export function values(news) {
  if (news.devices) {
    draw(news.devices);
  }
}

export function entries(stream, list) {
  if (stream === "reports") {
    const devices = new Set(list.filter((report) => report.event === "tags").map((report) => report.device));
    devices.forEach((id) => cards.get(id)?.loadTaken());
  }
}

function draw(devices) {
  show(at("no-ipods"), devices.length === 0);
  const present = new Set(devices.map((device) => device.id));
  for (const [id, card] of cards) {
    if (!present.has(id)) {
      card.element.remove();
      cards.delete(id);
    }
  }
  for (const device of devices) {
    if (!cards.has(device.id)) {
      cards.set(device.id, new Card(device.id));
      at("ipod-list").append(cards.get(device.id).element);
    }
    cards.get(device.id).update(device);
  }
}

const select = (name, first, values) => el("select", { name }, el("option", { value: "" }, first),
  ...values.map((value) => el("option", { value }, value)));

/** One device. Its forms stay as they are while news come, unless what they show has changed. */
class Card {
  constructor(id) {
    this.id = id;
    this.title = el("span", {});
    this.chips = el("ul", { class: "chips", "aria-label": "Capabilities" });
    this.place = el("p", { class: "quiet" });
    this.taken = el("div", { class: "taken-lists" }, el("p", { class: "quiet" }, "Has taken nothing yet."));
    this.capsForm = this.makeCapsForm();
    this.faultForm = this.makeFaultForm();
    this.element = el("article", { class: "ipod", "data-ipod": id },
      el("h3", {}, this.title, el("button", {
        type: "button", "aria-label": `Detach iPod ${id}`,
        onclick: () => attempt(reply, "detach", { id }, () => `iPod ${id} is detached.`),
      }, "Detach")),
      this.place, this.chips, this.taken, this.capsForm, this.faultForm);
    this.loadTaken();
  }

  makeCapsForm() {
    const form = el("form", { class: "row", onsubmit: (event) => {
      event.preventDefault();
      attempt(reply, "caps", { id: this.id, words: form.elements.caps.value },
        () => `iPod ${this.id} tells other capabilities from now on.`);
    } },
    el("label", {}, "Capability list", el("input", { name: "caps", required: true,
      pattern: "none|[0-9]+(,[0-9]+)*", title: "Numbers joined by commas, or none" })),
    el("button", { type: "submit" }, "Change"));
    return form;
  }

  makeFaultForm() {
    const form = el("form", { class: "faults", onsubmit: (event) => {
      event.preventDefault();
      this.order(wordsOf(form));
    } },
    el("fieldset", {}, el("legend", {}, "Faults of its driver"),
      el("div", { class: "row" },
        el("label", { class: "check" }, el("input", { type: "checkbox", name: "open" }), "cannot be opened"),
        el("label", {}, "Capability request", select("caps", "works", ERRNOS)),
        el("label", {}, "Writing tags", select("write", "works", ERRNOS)),
        el("label", {}, "its info word", el("input", { type: "number", name: "info", value: "0" })),
        el("label", {}, "Waits (ms)", el("input", { type: "number", name: "slow", min: "0", value: "0" })),
        el("label", {}, "Vanishes", el("select", { name: "vanish" },
          el("option", { value: "" }, "never"),
          el("option", { value: "vanish=caps" }, "from capability requests"),
          el("option", { value: "vanish=write" }, "from tags"),
          el("option", { value: "vanish" }, "from everything")))),
      el("p", { class: "buttons" }, el("button", { type: "submit" }, "Order these faults"),
        el("button", { type: "button", onclick: () => this.order("none") }, "Works again"))));
    return form;
  }

  order(words) {
    return attempt(reply, "fault", { id: this.id, words },
      () => (words === "none" ? `iPod ${this.id} works.` : `iPod ${this.id} fails from now on: ${words}.`));
  }

  update(device) {
    this.title.textContent = `${device.name} (${device.id})`;
    this.place.textContent = `${device.type} at ${device.mountPoint}`;
    this.element.classList.toggle("faulty", device.fault !== "none");
    this.chips.replaceChildren(
      ...device.caps.map((id) => (id === TAKES_TAGS
        ? el("li", { class: "on" }, `${id} takes tags`) : el("li", {}, String(id)))),
      ...(device.caps.length ? [] : [el("li", {}, "no capabilities")]),
      ...(device.fault === "none" ? [] : [el("li", {}, `fault: ${device.fault}`)]));
    const caps = device.caps.join(",") || "none";
    if (this.caps !== caps) {
      this.capsForm.elements.caps.value = caps;
      this.caps = caps;
    }
    if (this.fault !== device.fault) {
      showFault(this.faultForm, device.fault);
      this.fault = device.fault;
    }
  }

  async loadTaken() {
    try {
      const names = await (await get(`/landed?device=${this.id}`)).json();
      if (names.length === 0) {
        return;
      }
      const last = names[names.length - 1];
      const text = await (await get(`/landed?device=${this.id}&name=${encodeURIComponent(last)}`)).text();
      this.showTaken(names, last, text);
    } catch {
      // The connection says that the rig is away.
    }
  }

  showTaken(names, last, text) {
    const refused = last.endsWith(".refused");
    const tracks = tracksOf(text);
    const lists = names.length === 1 ? "1 list has come" : `${names.length} lists have come`;
    this.taken.replaceChildren(
      el("p", {}, `${lists}; the last one, ${last}, was ${refused ? "refused" : "taken"}:`),
      el("ol", { class: "taken" }, ...tracks.map((track) => el("li", {}, el("b", {}, track.Name ?? "no title"),
        ` by ${track.Artist ?? "nobody known"}`, track.StationCallLetters ? `, heard on ${track.StationCallLetters}` : ""))),
      el("details", {}, el("summary", {}, "The property list"), el("pre", { tabindex: "0" }, text)));
  }
}

/** The words of a "fault" command for what a form shows. */
function wordsOf(form) {
  const value = (name) => form.elements[name].value;
  const words = [];
  if (form.elements.open.checked) {
    words.push("open");
  }
  if (value("caps")) {
    words.push(`caps=${value("caps")}`);
  }
  if (value("write")) {
    words.push(`write=${value("write")}${Number(value("info")) ? `:${Number(value("info"))}` : ""}`);
  }
  if (Number(value("slow")) > 0) {
    words.push(`slow=${Number(value("slow"))}`);
  }
  if (value("vanish")) {
    words.push(value("vanish"));
  }
  return words.join(" ") || "none";
}

function showFault(form, fault) {
  form.reset();
  for (const word of fault.split(/\s+/)) {
    const [key, value] = word.split("=");
    if (key === "open") {
      form.elements.open.checked = true;
    } else if (key === "vanish") {
      form.elements.vanish.value = word;
    } else if (key === "slow") {
      form.elements.slow.value = value;
    } else if (key === "caps" || key === "write") {
      const [errno, info] = value.split(":");
      choose(form.elements[key], errno);
      if (info) {
        form.elements.info.value = info;
      }
    }
  }
}

/** Shows a choice, also one that was ordered elsewhere and is not among those offered. */
function choose(list, value) {
  if (![...list.options].some((option) => option.value === value)) {
    list.append(el("option", { value }, value));
  }
  list.value = value;
}

/** The tracks of a property list, each with its fields by key. */
export function tracksOf(text) {
  const document = new DOMParser().parseFromString(text, "application/xml");
  return [...document.querySelectorAll("array > dict")].map((dict) => {
    const track = {};
    for (const key of dict.querySelectorAll(":scope > key")) {
      track[key.textContent] = key.nextElementSibling?.textContent ?? "";
    }
    return track;
  });
}
