// The three values that the service publishes, and the service's process.

import { at, say, show } from "./dom.js";
import { attempt } from "./live.js";
import { statusText } from "./words.js";

const SERVICE = "com.veldan.service.Songlatch";

for (const action of ["start", "restart", "kill"]) {
  at(`service-${action}`).addEventListener("click", () =>
    attempt(at("service-reply"), action)
      .then(() => show(at("service-reply"), at("service-reply").textContent !== "")));
}

export function begin() {
  showProcess(undefined);
}

export function values(news) {
  if (news.present) {
    at("on-service").className = news.present[SERVICE] ? "on" : "bad";
  }
  if (news.localStatus) {
    showLocal(news.localStatus);
  }
  if (news.connectionStatus) {
    const devices = news.connectionStatus.Devices ?? [];
    say(at("connection-status"), devices.length ? `iPod ${devices.join(", ")}` : "no iPod");
  }
  if (news.transferStatus) {
    say(at("transfer-status"), statusText(news.transferStatus));
  }
  if (news.service) {
    showProcess(news.service);
  }
}

function showLocal({ Current, Max }) {
  say(at("local-status"), `${Current} of ${Max}`);
  const meter = at("local-meter");
  meter.max = Math.max(Max, 1);
  meter.high = Math.max(Max, 1) * 0.8;
  meter.value = Current;
}

function showProcess(process) {
  show(at("service-buttons"), process !== undefined);
  if (!process) {
    return;
  }
  at("service-start").disabled = process.running;
  at("service-restart").disabled = !process.running;
  at("service-kill").disabled = !process.running;
  const state = at("service-state");
  say(state, process.running ? `Runs as process ${process.pid}` : `It was ${process.ended}`
    .replace("It was ended", "It ended"));
}
