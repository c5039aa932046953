// The connection to the rig: what is new comes over a WebSocket, what is to be done goes as a POST.

const RETRY = 1000;

/**
 * Keeps a connection open. handlers: values(values), entries(stream, entries, isHistory) and
 * connected(yes). The first message after each connect holds everything, so it begins anew.
 */
export function connect(handlers) {
  const socket = new WebSocket(`ws://${location.host}/live`);
  let first = true;
  socket.onmessage = (message) => {
    const news = JSON.parse(message.data);
    if (first) {
      handlers.connected(true);
    }
    handlers.values(news.values ?? {});
    // The calls come last: their replies say what all the rest has come to.
    const { bus = [], ...others } = news.streams ?? {};
    for (const [stream, entries] of [...Object.entries(others), ["bus", bus]]) {
      handlers.entries(stream, entries, first);
    }
    first = false;
  };
  socket.onclose = () => {
    handlers.connected(false);
    setTimeout(() => connect(handlers), RETRY);
  };
}

/** Has something done. Throws an Error that says why it was not. */
export async function perform(action, fields = {}) {
  const response = await fetch("/do", {
    method: "POST",
    headers: { "Content-Type": "application/json" },
    body: JSON.stringify({ action, ...fields }),
  }).catch(() => { throw new Error("The rig does not answer."); });
  const answer = await response.json().catch(() => ({ error: `The rig answered ${response.status}.` }));
  if (answer.error !== undefined) {
    throw new Error(answer.error);
  }
  return answer.reply;
}

/** A button or form that does something, and where its outcome is said. */
export async function attempt(reply, action, fields, told = () => "") {
  reply.classList.remove("good", "bad");
  try {
    reply.textContent = told(await perform(action, fields));
    reply.classList.add("good");
  } catch (fault) {
    reply.textContent = fault.message;
    reply.classList.add("bad");
  }
}

export async function get(path) {
  const response = await fetch(path);
  if (!response.ok) {
    throw new Error(`The rig answered ${response.status}.`);
  }
  return response;
}
