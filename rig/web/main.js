// Hands what comes from the rig to the parts of the page that show it.

import { connect } from "./live.js";
import { at } from "./dom.js";
import * as playing from "./playing.js";
import * as unit from "./unit.js";
import * as ipods from "./ipods.js";
import * as tags from "./tags.js";
import * as bus from "./bus.js";
import * as log from "./log.js";
import * as road from "./road.js";

const parts = [playing, unit, ipods, tags, bus, log, road];

connect({
  connected(yes) {
    at("on-page").className = yes ? "on" : "bad";
    at("on-page").textContent = yes ? "Page" : "Page: the rig is away";
    if (yes) {
      parts.forEach((part) => part.begin?.());
    }
  },
  values(values) {
    parts.forEach((part) => part.values?.(values));
  },
  entries(stream, entries, isHistory) {
    parts.forEach((part) => part.entries?.(stream, entries, isHistory));
  },
});
