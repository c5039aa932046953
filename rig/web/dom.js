// Elements are made with their texts as texts, so that no title of a song is ever markup.

/** An element with properties ("class", "on..." and attributes) and children: elements or texts. */
export function el(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.startsWith("on")) {
      element.addEventListener(name.slice(2), value);
    } else if (value === true) {
      element.setAttribute(name, "");
    } else if (value !== false && value !== undefined && value !== null) {
      element.setAttribute(name, value);
    }
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

export const at = (id) => document.getElementById(id);

/** Sets a text only where it differs: a screen reader speaks what is set. */
export function say(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

export function show(element, shown) {
  element.hidden = !shown;
}

/**
 * Calls render() soon after any number of calls: at most five times a second, and less often where
 * it takes long, so that most of the time is left for the person.
 */
export function soon(render) {
  let waiting = false;
  let pause = 200;
  return () => {
    if (!waiting) {
      waiting = true;
      setTimeout(() => {
        waiting = false;
        const begin = performance.now();
        render();
        pause = Math.max(200, 6 * (performance.now() - begin));
      }, pause);
    }
  };
}

/** The name of a program as people say it. */
export const shortName = (name) => name.replace("com.veldan.service.", "")
  .replace("org.freedesktop.DBus", "the bus");

/** The JSON in a text; undefined if it is none. */
export function parsed(text) {
  try {
    return JSON.parse(text);
  } catch {
    return undefined;
  }
}
