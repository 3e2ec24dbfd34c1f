// What leaves the page: settings files, the command line, and rendered pictures.

import { edit, get } from "./server.js";

const element = (id) => document.getElementById(id);

// Asks for a file's name until `action(name, replaces, isForOneFrame)` accepts it, or the
// user gives up. `frame`: the one of a shot that may be chosen alone.
function askForFile({ title, note, name, go, canReplace, frame }, action) {
  const dialog = element("file-dialog");
  const field = element("file-name");
  const replace = element("file-replace").querySelector("input");
  const only = element("file-only").querySelector("input");
  element("file-title").textContent = title;
  element("file-note").textContent = note;
  element("file-go").textContent = go;
  element("file-replace").hidden = !canReplace;
  element("file-only").hidden = !frame;
  element("file-only-frame").textContent = frame;
  element("file-fault").textContent = "";
  field.value = name;
  replace.checked = only.checked = false;
  dialog.onsubmit = async (event) => {
    event.preventDefault();
    try {
      await action(field.value.trim(), replace.checked, only.checked);
      dialog.close();
    } catch (error) {
      element("file-fault").textContent = error.message;
    }
  };
  dialog.querySelector("button[value=cancel]").onclick = () => dialog.close();
  dialog.showModal();
  field.setSelectionRange(0, field.value.lastIndexOf("."));
}

let settingsName = "settings.json";

function save(tell) {
  askForFile({
    title: "Save settings", go: "Save", name: settingsName, canReplace: true,
    note: "All values that were edited. Open settings takes them back; so does focusfall render --settings.",
  }, async (file, replace) => {
    await edit("save", { file, replace });
    settingsName = file;
    tell(`The settings are in ${file}`, true);
  });
}

function open(tell) {
  askForFile({
    title: "Open settings", go: "Open", name: settingsName, canReplace: false,
    note: "A settings file, as this page or focusfall controls --save writes it.",
  }, async (file) => {
    await edit("open", { file });
    tell(`The settings are those of ${file}`, true);
  });
}

async function copyLine(tell) {
  const { line } = await get("line");
  try {
    await navigator.clipboard.writeText(line);
    tell("The command line is copied", true);
  } catch {
    tell(line); // to be copied by hand
  }
}

async function render(state) {
  const { output } = await get("line");
  const isShot = state.frames.length > 0;
  askForFile({
    title: isShot ? `Render ${state.frames.length} frames` : "Render the picture",
    go: "Render", name: output, canReplace: true, frame: isShot ? state.frame : undefined,
    note: "The end of the name says which kind of file: .exr, .tif, .png, .jpg.",
  }, (file, replace, only_this_frame) => edit("render", { file, replace, only_this_frame }));
}

// How far a render is.
export function showRender(news) {
  const progress = element("progress");
  progress.hidden = false;
  progress.querySelector("progress").value = news.part;
  progress.querySelector("progress").hidden = !news.running;
  progress.querySelector("output").textContent = `${news.file}: ${news.text}`;
  progress.classList.toggle("failed", Boolean(news.failed));
  element("stop").hidden = !news.running;
  element("render").disabled = news.running;
}

// `tell(text, isNotice)` shows a line, which goes by itself if it is a notice; `stateNow()`
// gives the state.
export function addFileActions(tell, stateNow) {
  const tried = (action) => async () => {
    try {
      await action();
    } catch (error) {
      tell(error.message);
    }
  };
  element("save").addEventListener("click", () => save(tell));
  element("open").addEventListener("click", () => open(tell));
  element("copy").addEventListener("click", tried(() => copyLine(tell)));
  element("render").addEventListener("click", tried(() => render(stateNow())));
  element("stop").addEventListener("click", tried(() => edit("stop")));
}
