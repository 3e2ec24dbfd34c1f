// The frames of a shot: which one is shown, the keys of a control, and playing.

import { edit } from "./server.js";

const MAX_KEPT = 120; // pictures to play again
const FRAME_MS = 1000 / 24;

const element = (id) => document.getElementById(id);

// Keys as the server has them, [[frame, value], ..., "smooth"], in parts and back.
function parted(keys) {
  const isSmooth = keys.at(-1) === "smooth";
  return { pairs: keys.filter((key) => key !== "smooth"), isSmooth };
}
const joined = ({ pairs, isSmooth }) => {
  const sorted = [...pairs].sort((a, b) => a[0] - b[0]);
  return isSmooth && sorted.length > 0 ? [...sorted, "smooth"] : sorted;
};

export class Timeline {
  #state = null;
  #kept = new Map(); // pictures by frame
  #signature = "";
  #isPlaying = false;
  #drag = null;

  // `actions`: tried(what, body), info(id)
  constructor(picture, actions) {
    this.picture = picture;
    this.actions = actions;
    this.control = "FocusPosition"; // whose keys are shown
    element("play").addEventListener("click", () => this.play(!this.#isPlaying));
    element("previous").addEventListener("click", () => this.step(-1));
    element("next").addEventListener("click", () => this.step(1));
    element("frame").addEventListener("input",
      () => this.#show(this.#state.frames[element("frame").value]));
    element("key").addEventListener("click", () => this.toggleKey());
    element("between").addEventListener("change", () => this.#setBetween());
    element("keyed").addEventListener("change", (event) => this.choose(event.target.value));
    element("keys").addEventListener("pointermove", (event) => this.#move(event));
    element("keys").addEventListener("pointerup", (event) => this.#drop(event));
  }

  // The controls that can have keys, by id and name.
  setControls(controls) {
    const keyed = controls.filter(({ kind }) => kind !== "text");
    element("keyed").replaceChildren(...keyed.map(({ id, name }) => new Option(name, id)));
    this.#state = null; // that of another tool
    this.choose(keyed.some(({ id }) => id === this.control) ? this.control : "FocusPosition");
  }

  choose(id) {
    this.control = id;
    element("keyed").value = id;
    if (this.#state) this.#showKeys();
  }

  setState(state) {
    this.#state = state;
    element("timeline").hidden = state.frames.length === 0;
    if (state.frames.length === 0) return;
    const values = Object.values(state.values).map((one) => one.keys ?? one.value);
    const signature = JSON.stringify([state.tool, ...values]);
    if (signature !== this.#signature) this.#kept.clear();
    this.#signature = signature;
    const slider = element("frame");
    slider.max = state.frames.length - 1;
    slider.value = state.frames.indexOf(state.frame);
    slider.ariaValueText = `Frame ${state.frame}`;
    element("frame-number").textContent = state.frame;
    for (const option of element("keyed").options) {
      const hasKeys = Boolean(state.values[option.value]?.keys);
      option.text = option.text.replace(/^◆ /, "");
      if (hasKeys) option.text = `◆ ${option.text}`;
    }
    this.#showKeys();
  }

  #keys() { return this.#state.values[this.control].keys; }

  #place(frame) {
    const frames = this.#state.frames;
    const all = frames.at(-1) - frames[0];
    return all > 0 ? (frame - frames[0]) / all : 0.5;
  }

  #showKeys() {
    const keys = this.#keys();
    const { pairs, isSmooth } = parted(keys ?? []);
    const track = element("keys");
    track.replaceChildren(...pairs.map(([frame, value]) => this.#mark(frame, value)));
    element("between").disabled = !keys;
    element("between").value = isSmooth ? "smooth" : "linear";
    const isKey = pairs.some(([frame]) => frame === this.#state.frame);
    element("key").textContent = isKey ? "Delete key" : "Set key";
  }

  #mark(frame, value) {
    const mark = document.createElement("button");
    mark.className = "key";
    mark.dataset.frame = frame;
    mark.title = `Frame ${frame}: ${value}; drag to move, Delete removes it`;
    mark.ariaLabel = `Key at frame ${frame}`;
    mark.style.left = `${100 * this.#place(frame)}%`;
    mark.classList.toggle("present", frame === this.#state.frame);
    mark.addEventListener("pointerdown", (event) => {
      mark.setPointerCapture(event.pointerId);
      this.#drag = { mark, from: frame, to: frame };
    });
    mark.addEventListener("click", () => this.#show(frame));
    mark.addEventListener("keydown", (event) => {
      if (event.key === "Delete") this.#replace((pairs) => pairs.filter((key) => key[0] !== frame));
      const by = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
      if (by) this.#moveKey(frame, this.#neighbour(frame, by));
    });
    return mark;
  }

  #frameAt(event) {
    const box = element("keys").getBoundingClientRect();
    const frames = this.#state.frames;
    const wanted = frames[0] + (frames.at(-1) - frames[0]) * (event.clientX - box.left) / box.width;
    return frames.reduce((a, b) => (Math.abs(b - wanted) < Math.abs(a - wanted) ? b : a));
  }

  #move(event) {
    if (!this.#drag) return;
    this.#drag.to = this.#frameAt(event);
    this.#drag.mark.style.left = `${100 * this.#place(this.#drag.to)}%`;
  }

  #drop() {
    const drag = this.#drag;
    this.#drag = null;
    if (drag) this.#moveKey(drag.from, drag.to);
  }

  // It takes the place of a key that is there. The mark keeps the keyboard.
  async #moveKey(from, to) {
    if (from === to) return;
    await this.#replace((pairs) => pairs
      .filter(([frame]) => frame !== to)
      .map(([frame, value]) => [frame === from ? to : frame, value]));
    element("keys").querySelector(`[data-frame="${to}"]`)?.focus();
  }

  #neighbour(frame, by) {
    const { frames } = this.#state;
    return frames[Math.min(Math.max(frames.indexOf(frame) + by, 0), frames.length - 1)];
  }

  // Without its last key a control keeps the value that it has.
  #replace(change, smooth = null) {
    const { pairs, isSmooth } = parted(this.#keys() ?? []);
    const next = joined({ pairs: change(pairs), isSmooth: smooth ?? isSmooth });
    const value = next.length > 0 ? next : this.#state.values[this.control].value;
    return this.actions.tried("replace", { id: this.control, value });
  }

  // Sets a key with the present value at the present frame, or deletes the one there.
  toggleKey() {
    const { frame, values } = this.#state;
    const { value } = values[this.control];
    this.#replace((pairs) => {
      const others = pairs.filter((key) => key[0] !== frame);
      return others.length < pairs.length ? others : [...pairs, [frame, this.#shown(value)]];
    });
  }

  // Items and switches stand in settings files by their words.
  #shown(value) {
    const info = this.actions.info(this.control);
    if (info.kind === "checkbox") return value > 0.5;
    return info.items ? info.items[value] : value;
  }

  #setBetween() {
    this.#replace((pairs) => pairs, element("between").value === "smooth");
  }

  #show(frame) {
    if (frame !== this.#state.frame) return this.actions.tried("frame", { frame });
    return null;
  }

  step(by) {
    if (this.#state.frames.length === 0) return;
    this.play(false);
    this.#show(this.#neighbour(this.#state.frame, by));
  }

  // Frames that were seen come from the page's memory, others as fast as they render.
  async play(isWanted) {
    if (isWanted === this.#isPlaying || (isWanted && this.#state.frames.length < 2)) return;
    this.#isPlaying = isWanted;
    element("play").textContent = isWanted ? "Pause" : "Play";
    if (!isWanted) return;
    const { frames } = this.#state;
    let frame = this.#state.frame;
    while (this.#isPlaying) {
      const begin = performance.now();
      frame = frames[(frames.indexOf(frame) + 1) % frames.length];
      const kept = this.#kept.get(frame);
      if (kept) this.picture.playing = kept;
      else await this.#rendered(frame);
      element("frame").value = frames.indexOf(frame);
      element("frame-number").textContent = frame;
      this.picture.draw();
      const rest = FRAME_MS - (performance.now() - begin);
      await new Promise((done) => setTimeout(done, Math.max(rest, 0)));
    }
    this.picture.playing = null;
    this.picture.draw();
    this.#show(frame);
  }

  async #rendered(frame) {
    this.picture.playing = null;
    await edit("frame", { frame });
    while (this.#isPlaying && this.picture.shown?.frame !== frame) {
      await new Promise((done) => setTimeout(done, 5));
    }
    if (this.picture.shown?.frame !== frame) return;
    if (this.#kept.size >= MAX_KEPT) this.#kept.delete(this.#kept.keys().next().value);
    this.#kept.set(frame, this.picture.shown);
  }
}
