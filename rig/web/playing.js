// What is on the air, and the button.

import { at, say } from "./dom.js";
import { attempt } from "./live.js";
import { statusText } from "./words.js";

const RADIO = "com.veldan.service.Radio";
let present = false;

/** The tag button's answer: the status of the service, or what the radio says instead. */
const told = (reply) => statusText(reply?.status ?? reply?.reply ?? reply);

at("mark").addEventListener("click", () => attempt(at("mark-reply"), "mark", {}, told));

export function values(news) {
  if (news.present) {
    present = Boolean(news.present[RADIO]);
    at("on-radio").className = present ? "on" : "";
    at("mark").disabled = !present;
  }
  if ("nowPlaying" in news) {
    showSong(news.nowPlaying?.song ?? null, news.nowPlaying?.time);
  } else if (news.present && !present) {
    showSong(null);
  }
}

function showSong(song, time) {
  const nothing = present ? "Nothing that can be tagged" : "No radio on the bus";
  say(at("song-name"), song?.Name ?? nothing);
  say(at("song-artist"), song?.Artist ?? (present ? "a break in the programme" : ""));
  say(at("song-more"), [song?.Album, song?.Genre, song?.StationCallLetters, song?.StationFrequency,
    song && time ? `since ${time}` : ""].filter(Boolean).join(" · "));
}
