// The control panel, made from what the tool tells about its controls.

const PARTS = 1000; // steps of a slider

// A slider whose range spans many powers of two moves by factors.
function scaleOf(control, range) {
  const [low, high] = range;
  const byFactors = low > 0 && high / low > 40;
  return {
    toPart: (value) => PARTS * (byFactors
      ? Math.log(Math.max(value, low) / low) / Math.log(high / low)
      : (value - low) / (high - low)),
    toValue: (part) => {
      const value = byFactors
        ? low * (high / low) ** (part / PARTS) : low + (high - low) * part / PARTS;
      return control.whole ? Math.round(value) : Number(value.toPrecision(4));
    },
  };
}

export function shortNumber(value) {
  return String(Number(Number(value).toPrecision(7)));
}

let drags = 0;

class Control {
  constructor(info, panel) {
    this.info = info;
    this.panel = panel;
    this.element = document.createElement("div");
    this.element.className = "control";
    this.element.dataset.id = info.id;
    this.name = `control-${info.id}`;
    this.#addHead();
    this.#addFields();
    if (info.help) this.#addHelp();
  }

  #addHead() {
    const head = document.createElement("div");
    head.className = "head";
    const label = document.createElement(this.isList ? "span" : "label");
    label.textContent = this.info.name;
    label.id = `${this.name}-label`;
    if (!this.isList) label.htmlFor = this.name;
    const reset = this.#button("↺", `Resets ${this.info.name}`, () => {
      this.panel.edit("reset", { id: this.info.id });
    });
    reset.className = "reset";
    this.reset = reset;
    head.append(label);
    this.head = head;
    this.element.append(head);
  }

  #button(text, title, action) {
    const button = document.createElement("button");
    button.type = "button";
    button.textContent = text;
    button.title = title;
    button.ariaLabel = title;
    button.addEventListener("click", action);
    return button;
  }

  #addHelp() {
    const help = document.createElement("p");
    help.className = "help";
    help.id = `${this.name}-help`;
    help.textContent = this.info.help;
    help.hidden = true;
    const more = this.#button("?", `What ${this.info.name} does`, () => {
      help.hidden = !help.hidden;
      more.ariaExpanded = String(!help.hidden);
    });
    more.className = "more";
    more.ariaExpanded = "false";
    this.head.children[0].after(more);
    this.element.append(help);
    this.element.title = this.info.help;
    for (const field of this.element.querySelectorAll("input, select")) {
      field.setAttribute("aria-describedby", help.id);
    }
  }

  get isList() { return this.info.kind === "button list" && this.info.items.length <= 3; }

  #addFields() {
    const { kind } = this.info;
    if (kind === "button list") this.isList ? this.#addChoice() : this.#addSelect();
    else if (kind === "checkbox") this.#addCheckbox();
    else if (kind === "text") this.#addText();
    else this.#addNumber();
  }

  #set(value, group = "") {
    this.text = ""; // what comes is shown, also when the tool keeps its value
    this.panel.drag("set", { id: this.info.id, value, group });
  }

  #input(type) {
    const input = document.createElement("input");
    input.type = type;
    input.id = this.name;
    return input;
  }

  #addChoice() {
    const row = document.createElement("div");
    row.className = "choice";
    row.role = "radiogroup";
    row.setAttribute("aria-labelledby", `${this.name}-label`);
    const radios = this.info.items.map((item, index) => {
      const label = document.createElement("label");
      const radio = this.#input("radio");
      radio.id = `${this.name}-${index}`;
      radio.name = this.name;
      radio.addEventListener("change", () => this.#set(index));
      const text = document.createElement("span");
      text.textContent = item;
      label.append(radio, text);
      row.append(label);
      return radio;
    });
    this.head.append(this.reset, row);
    this.take = (value) => radios.forEach((radio, index) => { radio.checked = index === value; });
  }

  #addSelect() {
    const select = document.createElement("select");
    select.id = this.name;
    this.info.items.forEach((item, index) => select.append(new Option(item, index)));
    select.addEventListener("change", () => this.#set(Number(select.value)));
    this.head.append(this.reset, select);
    this.take = (value) => { select.value = value; };
  }

  #addCheckbox() {
    const box = this.#input("checkbox");
    box.addEventListener("change", () => this.#set(box.checked));
    this.head.append(this.reset, box);
    this.take = (value) => { box.checked = value > 0.5; };
  }

  #addText() {
    const text = this.#input("text");
    text.addEventListener("input", () => text.classList.add("typing"));
    text.addEventListener("change", () => {
      text.classList.remove("typing");
      this.#set(text.value);
    });
    this.head.append(this.reset);
    this.element.append(text);
    this.take = (value) => { if (document.activeElement !== text) text.value = value; };
  }

  #addNumber() {
    const row = document.createElement("div");
    row.className = "number";
    const number = this.#input("text");
    number.inputMode = "decimal";
    // what is typed stays until it is sent
    const setTyping = (isTyping) => number.classList.toggle("typing", isTyping);
    number.addEventListener("input", () => setTyping(true));
    number.addEventListener("change", () => {
      setTyping(false);
      this.#set(number.value.trim());
    });
    number.addEventListener("keydown", (event) => {
      if (event.key === "Escape") {
        setTyping(false);
        number.value = shortNumber(this.value);
      }
      if (event.key === "Enter") {
        event.preventDefault();
        number.blur(); // sends it
        number.focus();
        number.select();
      }
    });
    const slider = this.#input("range");
    slider.id = `${this.name}-slider`;
    slider.min = 0;
    slider.max = PARTS;
    slider.setAttribute("aria-labelledby", `${this.name}-label`);
    let group = "";
    const begin = () => { group = `slider ${++drags}`; };
    slider.addEventListener("pointerdown", begin);
    slider.addEventListener("keydown", begin);
    slider.addEventListener("input", () => {
      const value = this.scale.toValue(Number(slider.value));
      number.value = shortNumber(value);
      this.#set(value, group || "slider");
    });
    this.head.append(number);
    row.append(slider, this.reset);
    this.element.append(row);
    this.slider = slider;
    this.row = row;
    const { lowest, highest, slider_end: end } = this.info;
    const top = end ?? highest;
    this.setRange(lowest !== undefined && top !== undefined ? [lowest, top] : null);
    this.take = (value) => {
      this.value = value;
      if (!number.matches(".typing")) number.value = shortNumber(value);
      // a hand on the slider is ahead of what the server says
      if (this.scale && !slider.matches(":active")) slider.value = this.scale.toPart(value);
      slider.ariaValueText = shortNumber(value);
    };
  }

  // From where to where the slider goes; null: none is shown.
  setRange(range) {
    this.slider.hidden = !range;
    if (range) this.row.append(this.reset);
    else this.head.lastChild.before(this.reset); // no row for it alone
    this.scale = range ? scaleOf(this.info, range) : null;
    if (range && this.value !== undefined) this.take(this.value);
  }

  setState(state) {
    const text = JSON.stringify(state);
    if (text === this.text) return; // a drag changes one of many
    this.text = text;
    this.element.hidden = !state.visible;
    this.element.classList.toggle("animated", Boolean(state.keys));
    this.reset.disabled = state.value === this.info.default && !state.keys;
    this.take(state.value);
  }
}

export class Panel {
  // `actions`: edit(what, body), drag(what, body)
  constructor(element, controls, actions) {
    this.edit = actions.edit;
    this.drag = actions.drag;
    this.controls = new Map();
    this.pages = new Map();
    for (const info of controls) {
      const control = new Control(info, this);
      this.controls.set(info.id, control);
      this.#page(element, info.page).append(control.element);
    }
  }

  #page(panel, name) {
    if (!this.pages.has(name)) {
      const page = document.createElement("details");
      page.open = name !== "Info";
      const title = document.createElement("summary");
      title.textContent = name;
      page.append(title);
      panel.append(page);
      this.pages.set(name, page);
    }
    return this.pages.get(name);
  }

  setState(state) {
    for (const [id, control] of this.controls) {
      if (id in state.values) control.setState(state.values[id]); // else another tool's
    }
    // the focus has no range of its own: it is somewhere in the picture
    const focus = this.controls.get("FocusPosition");
    const range = state.depth_range;
    if (focus && JSON.stringify(range) !== JSON.stringify(this.range)) {
      this.range = range;
      focus.setRange(range && range[1] > range[0] ? range : null);
    }
  }
}
