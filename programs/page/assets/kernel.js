// The blur of one bright point: a small picture that follows the style.

import { Layer } from "./picture.js";

const BETWEEN_MS = 150; // it may lag behind the picture, which needs the time

export function kernelPicture() {
  const canvas = document.createElement("canvas");
  canvas.className = "kernel";
  canvas.role = "img";
  canvas.ariaLabel = canvas.title = "The blur of one bright point";
  canvas.hidden = true;
  const layer = new Layer("kernel", () => {
    const { bitmap } = layer.picture ?? {};
    if (!bitmap) return;
    canvas.width = bitmap.width;
    canvas.height = bitmap.height;
    canvas.getContext("2d").drawImage(bitmap, 0, 0);
    canvas.hidden = false;
  }, () => {}, BETWEEN_MS);
  layer.show({ view: "kernel" });
  return canvas;
}
