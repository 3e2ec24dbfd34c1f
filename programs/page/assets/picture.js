// The picture: what is shown, how large, and what pointer and wheel do to it.

const pageId = crypto.getRandomValues(new Uint32Array(2)).join("-");

// One view, always the newest that the server has. Each request waits on the server until
// there is a newer picture than the one that is shown.
export class Layer {
  #request = null;
  #turn = 0;
  #hasFault = false;

  // Waits `between` milliseconds from one picture to the next.
  constructor(place, onChange, onMessage, between = 0) {
    this.place = place;
    this.between = between;
    this.onChange = onChange;
    this.onMessage = onMessage;
    this.picture = null; // {bitmap, rows, version, detail, frame}
    this.look = null;
  }

  // Null shows nothing.
  show(look) {
    if (JSON.stringify(look) === JSON.stringify(this.look)) return;
    this.look = look;
    this.#request?.abort();
    this.#turn += 1;
    if (look) this.#follow(this.#turn);
    else this.picture = null;
    this.onChange();
  }

  // A picture takes away what was said of the one before, and nothing else.
  #setFault(fault) {
    if (fault || this.#hasFault) this.onMessage(fault);
    this.#hasFault = Boolean(fault);
  }

  async #take(turn, file, picture) {
    const bitmap = await createImageBitmap(file);
    if (turn !== this.#turn) return;
    this.picture = { ...picture, bitmap };
    this.#setFault("");
    this.onChange();
  }

  async #follow(turn) {
    let version = 0;
    let detail = "small";
    let decoded = Promise.resolve();
    while (turn === this.#turn) {
      try {
        this.#request = new AbortController();
        const query = new URLSearchParams({
          place: `${pageId}.${this.place}`, version, detail, ...this.look,
        });
        const response = await fetch(`api/picture?${query}`, { signal: this.#request.signal });
        const file = response.status === 200 ? await response.blob() : null;
        if (turn !== this.#turn) return;
        const made = Number(response.headers.get("X-Version") ?? 0);
        if (file) {
          version = made;
          detail = response.headers.get("X-Detail");
          const rows = Number(response.headers.get("X-Rows"));
          const frame = Number(response.headers.get("X-Frame"));
          // the next one is rendered while the browser decodes this one
          await decoded;
          decoded = this.#take(turn, file, { rows, version, detail, frame });
          if (this.between > 0) await new Promise((done) => setTimeout(done, this.between));
        } else if (response.status === 422) {
          version = made;
          detail = "full";
          this.#setFault(await response.text());
        } else if (response.status !== 204) {
          throw new Error(await response.text());
        }
      } catch (error) {
        if (turn !== this.#turn) return;
        await new Promise((done) => setTimeout(done, 1000));
      }
    }
  }
}

const MARK = 9; // radius of the focus mark
const KEY_STEP = 10; // pixels of the page that an arrow key moves
const LARGEST_ZOOM = 64;

export class Picture {
  #canvas = document.getElementById("canvas");
  #viewport = document.getElementById("viewport");
  #zoom = 0; // screen pixels for one of the picture; 0: fit
  #center = { x: 0.5, y: 0.5 }; // of the viewport, in parts of the picture
  #wipe = 0.5; // part of the viewport's width
  #drag = null;
  #isDrawn = true;

  // `actions`: focus(x, y, group), look(x, y) or look(null), zoomed(zoom), message(text)
  constructor(actions) {
    this.actions = actions;
    const draw = () => this.draw();
    this.left = new Layer("left", draw, actions.message);
    this.right = new Layer("right", draw, actions.message);
    this.size = { width: 1, height: 1 };
    this.mark = null;
    this.cursor = null; // the pixel that the arrow keys chose
    this.playing = null; // a picture that was kept, in place of the left one
    new ResizeObserver(draw).observe(this.#viewport);
    this.#viewport.addEventListener("wheel", (event) => this.#wheel(event), { passive: false });
    this.#viewport.addEventListener("pointerdown", (event) => this.#down(event));
    this.#viewport.addEventListener("pointermove", (event) => this.#move(event));
    this.#viewport.addEventListener("pointerup", (event) => this.#up(event));
    this.#viewport.addEventListener("pointercancel", () => { this.#drag = null; });
    this.#viewport.addEventListener("pointerleave", () => actions.look(null));
    this.#viewport.addEventListener("blur", () => { this.cursor = null; draw(); });
    this.#viewport.addEventListener("contextmenu", (event) => event.preventDefault());
  }

  // Views by name; `right` may be empty: no wipe.
  show(view, right, look) {
    this.left.show({ view, ...look });
    this.right.show(right ? { view: right, ...look } : null);
  }

  setState(state) {
    const isNew = state.width !== this.size.width || state.height !== this.size.height;
    const mark = state.mark && state.mark.frame === state.frame ? state.mark : null;
    if (!isNew && JSON.stringify(mark) === JSON.stringify(this.mark)) return;
    this.size = { width: state.width, height: state.height };
    this.mark = mark;
    if (isNew) this.fit();
    this.draw();
  }

  fit() { this.#zoom = 0; this.#center = { x: 0.5, y: 0.5 }; this.draw(); }

  // One pixel of the picture to one of the screen, with the focus in the middle.
  showPixels() {
    if (this.mark) {
      this.#center = {
        x: (this.mark.x + 0.5) / this.size.width,
        y: (this.mark.y + 0.5) / this.size.height,
      };
    }
    this.zoomTo(1);
  }

  // `zoom` counts pixels of the screen itself.
  zoomTo(zoom, at = null) {
    const box = this.#box();
    const point = at ?? { x: box.width / 2, y: box.height / 2 };
    const held = this.#toPicture(point);
    this.#zoom = Math.min(Math.max(zoom / devicePixelRatio, this.#fitZoom() / 4), LARGEST_ZOOM);
    this.#center = {
      x: (held.x - (point.x - box.width / 2) / this.#zoom) / this.size.width,
      y: (held.y - (point.y - box.height / 2) / this.#zoom) / this.size.height,
    };
    this.draw();
  }

  zoomBy(factor, at = null) { this.zoomTo(this.#shownZoom() * factor * devicePixelRatio, at); }

  // What the arrow keys and Enter do; whether that was all.
  takeKey(event) {
    const steps = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
    const step = steps[event.key];
    if (event.key === "Enter" && this.cursor) {
      this.actions.focus(this.cursor.x, this.cursor.y, `focus ${Date.now()}`);
    } else if (step && event.ctrlKey) {
      this.#wipe = Math.min(Math.max(this.#wipe + step[0] / 50, 0), 1);
    } else if (step && event.shiftKey) {
      this.#pan(step[0] * KEY_STEP * 5, step[1] * KEY_STEP * 5);
    } else if (step) {
      this.#moveCursor(step);
    } else {
      return false;
    }
    this.draw();
    return true;
  }

  #moveCursor([right, down]) {
    const box = this.#box();
    const from = this.cursor ?? this.mark ?? this.#toPicture({ x: box.width / 2, y: box.height / 2 });
    const by = Math.max(KEY_STEP / this.#shownZoom(), 1);
    const within = (value, end) => Math.floor(Math.min(Math.max(value, 0), end - 1));
    this.cursor = {
      x: within(from.x + right * by, this.size.width),
      y: within(from.y + down * by, this.size.height),
    };
    this.actions.look(this.cursor);
  }

  // Moves the window over the picture, in pixels of the page.
  #pan(right, down) {
    const zoom = this.#shownZoom();
    this.#zoom = zoom;
    this.#center.x += right / zoom / this.size.width;
    this.#center.y += down / zoom / this.size.height;
  }

  // What is shown now, for whoever wants to know whether it is the newest.
  get shown() { return this.left.picture; }

  draw() {
    if (!this.#isDrawn) return;
    this.#isDrawn = false;
    requestAnimationFrame(() => { this.#isDrawn = true; this.#paint(); });
  }

  #box() { return this.#viewport.getBoundingClientRect(); }

  #fitZoom() {
    const box = this.#box();
    return Math.min(box.width / this.size.width, box.height / this.size.height);
  }

  #shownZoom() { return this.#zoom || this.#fitZoom(); }

  // Where the picture's top left corner is, in the viewport.
  #origin() {
    const box = this.#box();
    const zoom = this.#shownZoom();
    return {
      x: box.width / 2 - this.#center.x * this.size.width * zoom,
      y: box.height / 2 - this.#center.y * this.size.height * zoom,
    };
  }

  #toPicture(point) {
    const origin = this.#origin();
    const zoom = this.#shownZoom();
    return { x: (point.x - origin.x) / zoom, y: (point.y - origin.y) / zoom };
  }

  #pixelAt(event) {
    const box = this.#box();
    const at = this.#toPicture({ x: event.clientX - box.left, y: event.clientY - box.top });
    const pixel = { x: Math.floor(at.x), y: Math.floor(at.y) };
    const isInside = pixel.x >= 0 && pixel.y >= 0
      && pixel.x < this.size.width && pixel.y < this.size.height;
    return isInside ? pixel : null;
  }

  #isOnWipe(event) {
    const box = this.#box();
    return this.right.picture && Math.abs(event.clientX - box.left - this.#wipe * box.width) < 8;
  }

  #wheel(event) {
    event.preventDefault();
    const box = this.#box();
    this.zoomBy(2 ** (-event.deltaY / 300),
      { x: event.clientX - box.left, y: event.clientY - box.top });
  }

  // The main button sets the focus; another one, or the space bar held, pans.
  #down(event) {
    this.#viewport.setPointerCapture(event.pointerId);
    const pans = event.button !== 0 || event.altKey || this.isPanning;
    const kind = pans ? "pan" : this.#isOnWipe(event) ? "wipe" : "focus";
    this.#drag = { kind, x: event.clientX, y: event.clientY, group: `focus ${Date.now()}` };
    this.cursor = null;
    if (kind === "focus") this.#focus(event);
  }

  #focus(event) {
    const pixel = this.#pixelAt(event);
    if (pixel) this.actions.focus(pixel.x, pixel.y, this.#drag.group);
  }

  #move(event) {
    this.#viewport.classList.toggle("on-wipe", Boolean(this.#isOnWipe(event)));
    if (this.#drag?.kind === "focus") this.#focus(event);
    if (this.#drag?.kind === "wipe") this.#moveWipe(event);
    if (this.#drag?.kind === "pan") {
      this.#pan(this.#drag.x - event.clientX, this.#drag.y - event.clientY);
      this.#drag.x = event.clientX;
      this.#drag.y = event.clientY;
      this.draw();
    }
    this.actions.look(this.#pixelAt(event)); // the one that is there now
  }

  #moveWipe(event) {
    const box = this.#box();
    this.#wipe = Math.min(Math.max((event.clientX - box.left) / box.width, 0), 1);
    this.draw();
  }

  #up() { this.#drag = null; }

  #paint() {
    const box = this.#box();
    const ratio = devicePixelRatio;
    const width = Math.round(box.width * ratio);
    const height = Math.round(box.height * ratio);
    if (this.#canvas.width !== width) this.#canvas.width = width;
    if (this.#canvas.height !== height) this.#canvas.height = height;
    const context = this.#canvas.getContext("2d");
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, box.width, box.height);
    const zoom = this.#shownZoom();
    this.actions.zoomed(zoom * ratio);
    context.imageSmoothingEnabled = zoom * ratio < 3;
    // a hand that moves looks at how quickly it follows
    context.imageSmoothingQuality = this.shown?.detail === "small" ? "low" : "high";
    const split = this.right.picture ? this.#wipe * box.width : box.width;
    this.#paintLayer(context, this.playing ?? this.left.picture, 0, split, box);
    if (this.right.picture) {
      this.#paintLayer(context, this.right.picture, split, box.width, box);
      context.fillStyle = "#fff";
      context.fillRect(split - 1, 0, 2, box.height);
      this.#paintName(context, this.left.look.view, split - 10, "right");
      this.#paintName(context, this.right.look.view, split + 10, "left");
    }
    if (this.mark) this.#paintMark(context, this.mark, "#7dffa0");
    if (this.cursor) this.#paintMark(context, this.cursor, "#fff");
  }

  #paintLayer(context, picture, from, to, box) {
    if (!picture) return;
    const origin = this.#origin();
    const zoom = this.#shownZoom();
    const { bitmap, rows } = picture;
    context.save();
    context.beginPath();
    context.rect(from, 0, to - from, box.height);
    context.clip();
    context.drawImage(bitmap, 0, 0, bitmap.width, rows, origin.x, origin.y,
      this.size.width * zoom, this.size.height * zoom);
    if (bitmap.height > rows) {
      const wide = Math.min(to - from - 32, 560);
      const high = (bitmap.height - rows) * wide / bitmap.width;
      context.imageSmoothingEnabled = true;
      context.drawImage(bitmap, 0, rows, bitmap.width, bitmap.height - rows,
        (from + to - wide) / 2, box.height - high - 16, wide, high);
    }
    context.restore();
  }

  // Beside the line between two views.
  #paintName(context, view, x, align) {
    context.font = "600 12px system-ui, sans-serif";
    context.textAlign = align;
    context.textBaseline = "top";
    context.lineWidth = 4;
    context.strokeStyle = "#000a";
    context.strokeText(view, x, 12);
    context.fillStyle = "#fff";
    context.fillText(view, x, 12);
  }

  #paintMark(context, mark, light) {
    const origin = this.#origin();
    const zoom = this.#shownZoom();
    const x = origin.x + (mark.x + 0.5) * zoom;
    const y = origin.y + (mark.y + 0.5) * zoom;
    for (const [color, wide] of [["#000a", 4], [light, 1.5]]) {
      context.strokeStyle = color;
      context.lineWidth = wide;
      context.beginPath();
      context.arc(x, y, MARK, 0, 2 * Math.PI);
      for (const [dx, dy] of [[1, 0], [-1, 0], [0, 1], [0, -1]]) {
        context.moveTo(x + dx * (MARK - 4), y + dy * (MARK - 4));
        context.lineTo(x + dx * (MARK + 5), y + dy * (MARK + 5));
      }
      context.stroke();
    }
  }
}
