// Talks to the server: requests, and the state that it keeps and tells every page.

export class Refusal extends Error {}

const listeners = new Set();
let latest = null;
let latestText = "";

// Calls `listener(state)` now, if the state is known, and whenever it changes.
export function onState(listener) {
  listeners.add(listener);
  if (latest) listener(latest);
}

// An edit of this page comes twice, as its answer and as an event, and each may overtake
// others.
function take(text) {
  if (text === latestText) return;
  const state = JSON.parse(text);
  if (latest && state.version < latest.version) return;
  latest = state;
  latestText = text;
  tell();
}

function tell() {
  for (const listener of listeners) listener(latest);
}

async function checked(response) {
  if (response.ok) return response;
  throw new Refusal((await response.text()).trim());
}

export async function get(path) {
  return (await checked(await fetch(`api/${path}`))).json();
}

// Sends an edit and takes the state that it leads to. Throws Refusal with the reason.
export async function edit(what, body = {}) {
  const options = { method: "POST", body: JSON.stringify(body) };
  const text = await (await checked(await fetch(`api/${what}`, options))).text();
  const answer = JSON.parse(text);
  if (answer.version !== undefined) take(text);
  return answer;
}

// Edits that follow each other quickly, as those of a drag: while one is on its way only
// the last of the others is kept.
export class Drag {
  #next = null;
  #runs = false;

  constructor(onRefusal) {
    this.onRefusal = onRefusal;
  }

  async edit(what, body) {
    this.#next = { what, body };
    if (this.#runs) return;
    this.#runs = true;
    while (this.#next) {
      const { what: now, body: sent } = this.#next;
      this.#next = null;
      try {
        await edit(now, sent);
      } catch (error) {
        this.onRefusal(error);
        tell(); // the controls go back to what the tool has
      }
    }
    this.#runs = false;
  }
}

// Listens until the page closes; `onConnection(false)` when the server is gone.
// `onRender(news)` hears how far a render is.
export function listen(onConnection, onRender) {
  const events = new EventSource("api/events");
  events.addEventListener("state", (event) => {
    onConnection(true);
    take(event.data);
  });
  events.addEventListener("render", (event) => onRender(JSON.parse(event.data)));
  events.addEventListener("error", () => onConnection(false));
}
