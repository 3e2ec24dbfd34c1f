// Puts the page together: its parts, the keyboard, and what the page remembers.

import { addFileActions, showRender } from "./files.js";
import { kernelPicture } from "./kernel.js";
import { Drag, edit, get, listen, onState } from "./server.js";
import { Panel } from "./panel.js";
import { Picture } from "./picture.js";
import { Timeline } from "./timeline.js";

const VIEWS = [
  ["result", "Result"], ["input", "Input"], ["depth", "Depth"], ["focus", "Focus"],
  ["diameter", "Diameter"],
];
const element = (id) => document.getElementById(id);

// How the picture is looked at stays with the tab, also when the page is loaded again.
const look = Object.assign({ view: "result", wipe: "", exposure: 0, transform: "srgb" },
  JSON.parse(sessionStorage.getItem("look") ?? "{}"));

// A text that stays is set once: each time it is set, the browser lays out the page again.
function show(id, text) {
  if (element(id).textContent !== text) element(id).textContent = text;
}

let fading = 0;

// A fault stays until something works; a notice goes after a while.
function say(text, isNotice = false) {
  clearTimeout(fading);
  show("message", text);
  element("message").hidden = !text;
  element("message").classList.toggle("notice", isNotice);
  if (isNotice) fading = setTimeout(() => say(""), 4000);
}

async function tried(what, body) {
  try {
    say("");
    return await edit(what, body);
  } catch (error) {
    say(error.message);
    return null;
  }
}

const drag = new Drag((error) => say(error.message));
let asked = null; // the pixel that the loupe is to tell about
let told = null; // the last one
let isAsking = false;

async function lookAt(pixel) {
  asked = pixel;
  told = pixel ?? told;
  if (isAsking) return;
  isAsking = true;
  while (asked) {
    const { x, y } = asked;
    asked = null;
    try {
      element("loupe").textContent = shown(await get(`pixel?x=${x}&y=${y}`));
    } catch {
      element("loupe").textContent = "";
    }
  }
  isAsking = false;
}

let lookAgain = 0;

// Edits change what there is to tell; while they go on, it can wait.
function lookSoon() {
  clearTimeout(lookAgain);
  lookAgain = setTimeout(() => { if (told) lookAt(told); }, 150);
}

const digits = (value) => (typeof value === "number" ? String(Number(value.toPrecision(5))) : value);

const MM = { mm: 1, meter: 1000, inch: 25.4, feet: 304.8 };
let unit = "mm"; // in which the settings count distances

function shown(pixel) {
  const parts = [`${pixel.x}, ${pixel.y}`];
  if (pixel.is_empty) parts.push("nothing there");
  else if (pixel.depth !== undefined) parts.push(`depth ${digits(pixel.depth)}`);
  if (typeof pixel.distance_mm === "number") {
    parts.push(`distance ${digits(pixel.distance_mm / MM[unit])} ${unit}`);
  }
  if (typeof pixel.diameter === "number") {
    const side = pixel.diameter < 0 ? " in front" : pixel.diameter > 0 ? " behind" : "";
    parts.push(`blur ${digits(Math.abs(pixel.diameter))} px${side}`);
  }
  return parts.join("   ·   ");
}

const picture = new Picture({
  focus: (x, y, group) => {
    say("");
    element("hint").hidden = true;
    drag.edit("focus", { x, y, group });
  },
  look: lookAt,
  zoomed: (zoom) => show("zoom", `${Math.round(zoom * 100)} %`),
  message: say,
});

function showLook() {
  sessionStorage.setItem("look", JSON.stringify(look));
  picture.show(look.view, look.wipe, { exposure: look.exposure, transform: look.transform });
  element("exposure").value = look.exposure;
  element("stops").textContent = (look.exposure > 0 ? "+" : "") + look.exposure;
  element("transform").value = look.transform;
  element("wipe").value = look.wipe;
  element("legend").hidden = look.view !== "focus" && look.wipe !== "focus";
  for (const radio of document.querySelectorAll("#views input")) {
    radio.checked = radio.value === look.view;
  }
}

function change(part) {
  Object.assign(look, part);
  showLook();
}

function fillHeader() {
  element("wipe").append(new Option("nothing", ""));
  VIEWS.forEach(([view, name], index) => {
    const label = document.createElement("label");
    label.title = `${name} (${index + 1} with Shift)`;
    const radio = document.createElement("input");
    radio.type = "radio";
    radio.name = "view";
    radio.value = view;
    radio.addEventListener("change", () => change({ view }));
    const text = document.createElement("span");
    text.textContent = name;
    label.append(radio, text);
    element("views").append(label);
    element("wipe").append(new Option(name, view));
  });
  const exposure = element("exposure");
  exposure.addEventListener("input", () => change({ exposure: Number(exposure.value) }));
  exposure.addEventListener("dblclick", () => change({ exposure: 0 }));
  element("transform").addEventListener("change",
    (event) => change({ transform: event.target.value }));
  element("wipe").addEventListener("change", (event) => change({ wipe: event.target.value }));
  element("fit").addEventListener("click", () => picture.fit());
  element("one").addEventListener("click", showPixels);
  element("full").addEventListener("click", toggleFullScreen);
  element("help").addEventListener("click", KEYS["?"]);
  for (const what of ["undo", "redo", "reset"]) {
    element(what).addEventListener("click", () => tried(what));
  }
}

function toggleFullScreen() {
  if (document.fullscreenElement) document.exitFullscreen();
  else document.documentElement.requestFullscreen();
}

function showPixels() {
  picture.showPixels();
  say("The right button, or the space bar held, moves the picture", true);
}

const stops = (by) => change({ exposure: Math.min(Math.max(look.exposure + by, -6), 6) });

const KEYS = {
  f: () => picture.fit(),
  F: toggleFullScreen,
  1: showPixels,
  "+": () => picture.zoomBy(1.25),
  "-": () => picture.zoomBy(0.8),
  "[": () => stops(-0.25),
  "]": () => stops(0.25),
  "?": () => element("keyboard").showModal(),
  w: () => change({ wipe: look.wipe ? "" : look.view === "input" ? "result" : "input" }),
};

function addKeyboard() {
  document.addEventListener("keydown", (event) => {
    if (document.querySelector("dialog[open]") || event.target.matches(".typing")) return;
    if ((event.ctrlKey || event.metaKey) && event.key.toLowerCase() === "z") {
      event.preventDefault();
      return void tried(event.shiftKey ? "redo" : "undo");
    }
    if (event.target.matches("input[type=text], select")) return;
    if (event.target === element("viewport") && picture.takeKey(event)) {
      return event.preventDefault();
    }
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const digit = event.shiftKey && event.code.match(/^Digit([1-5])$/);
    if (digit) return change({ view: VIEWS[digit[1] - 1][0] });
    if (event.key === " " && event.target === element("viewport")) {
      picture.isPanning = true;
      event.preventDefault();
    }
    KEYS[event.key]?.();
  });
  document.addEventListener("keyup", (event) => {
    if (event.key === " ") picture.isPanning = false;
  });
}

async function fillPresets() {
  const select = element("preset");
  for (const { name, comment } of await get("presets")) {
    const option = new Option(name.replaceAll("-", " "), name);
    option.title = comment;
    select.append(option);
  }
  select.addEventListener("change", async () => {
    const { value, selectedOptions: [{ text }] } = select;
    select.value = "";
    if (await tried("preset", { name: value })) say(`The lens and film are those of ${text}`, true);
  });
}

// What can be seen of the tool: its controls, made anew when another one is taken.
class ToolPart {
  #tool = null;
  #state = null;
  #controls = [];
  #panel = null;
  #kernel = kernelPicture();

  constructor(picture) {
    this.info = (id) => this.#controls.find((one) => one.id === id);
    this.timeline = new Timeline(picture, { tried, info: this.info });
    element("panel").addEventListener("submit", (event) => event.preventDefault());
    element("panel").addEventListener("focusin", (event) => {
      const control = event.target.closest(".control");
      if (control) this.timeline.choose(control.dataset.id);
    });
    element("tool").addEventListener("change", async ({ target }) => {
      if (!await tried("tool", { tool: target.value })) target.value = this.#tool;
    });
  }

  async setState(state) {
    this.#state = state;
    if (state.tool !== this.#tool) await this.#build(state);
    if (!this.#panel) return; // its controls are on their way
    this.#panel.setState(this.#state);
    this.timeline.setState(this.#state);
  }

  async #build({ tool, tools }) {
    this.#tool = tool;
    this.#panel = null;
    const shownName = (name) => `${name[0].toUpperCase()}${name.slice(1)} tool`;
    element("tool").replaceChildren(...tools.map((name) => new Option(shownName(name), name)));
    element("tool").value = tool;
    const controls = await get("controls");
    if (this.#tool !== tool) return; // another one was taken
    this.#controls = controls;
    element("panel").replaceChildren();
    this.#panel = new Panel(element("panel"), controls, {
      edit: tried,
      drag: (what, body) => { say(""); drag.edit(what, body); },
    });
    element("panel").querySelector("[data-id=BlurStyle] .head")?.append(this.#kernel);
    this.timeline.setControls(controls);
  }
}

async function begin() {
  let latest = null;
  fillHeader();
  fillPresets();
  addFileActions(say, () => latest);
  addKeyboard();
  showLook();
  const part = new ToolPart(picture);
  const { timeline } = part;
  KEYS[","] = () => timeline.step(-1);
  KEYS["."] = () => timeline.step(1);
  KEYS.k = () => timeline.toggleKey();
  KEYS.p = () => element("play").click();
  onState(async (state) => {
    latest = state;
    const name = state.file.split("/").at(-1);
    document.title = `${name} · Focusfall`;
    show("file", name);
    element("file").title = `${state.file}, ${state.width} × ${state.height}`;
    element("undo").disabled = !state.can_undo;
    element("redo").disabled = !state.can_redo;
    show("notes", [...state.notes, state.lens_note].filter(Boolean).join("; "));
    if (state.mark) element("hint").hidden = true;
    picture.setState(state);
    lookSoon();
    await part.setState(state);
    const chosen = part.info("DepthMapUnits")?.items[state.values.DepthMapUnits?.value];
    unit = chosen in MM ? chosen : "mm";
  });
  let isGone = false;
  listen((isThere) => {
    if (isThere !== isGone) return; // or late news would take a notice away
    isGone = !isThere;
    say(isThere ? "" : "The program has ended; start it again with focusfall view");
  }, showRender);
  window.focusfall = { picture, look };
}

begin();
