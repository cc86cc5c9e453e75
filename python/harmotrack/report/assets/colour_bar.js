// The colours of the maps: from level codes to pixels, and the bar that explains them.

import { colourScalePixels, colourScaleTexts } from "./colours.js";
import { colour } from "./theme.js";

/** Colours of all 65536 codes of a map, so that painting a cell is one look-up. */
export function pixelsOfCodes(map, { scale, isLinear, low, high }) {
  const table = colourScalePixels(scale);
  const pixels = new Uint32Array(65536);
  const lowest = isLinear ? 0 : low;
  const highest = isLinear ? 10 ** (high / 20) : high;
  const factor = 256 / Math.max(highest - lowest, 1e-300);
  pixels.fill(table[0]);
  for (let code = 2; code < 65536; code += 1) {
    const level = map.levelOfCode(code);
    const value = isLinear ? 10 ** (level / 20) : level;
    const index = Math.floor((value - lowest) * factor);
    pixels[code] = table[index < 0 ? 0 : index > 255 ? 255 : index];
    if (index > 255) {
      pixels.fill(table[255], code);
      break;
    }
  }
  pixels[0] = pixelOf(colour("unmeasured"));
  return pixels;
}

function pixelOf(text) {
  const [red, green, blue] = text.match(/[0-9a-f]{2}/gi).map((pair) => Number.parseInt(pair, 16));
  return ((255 << 24) | (blue << 16) | (green << 8) | red) >>> 0;
}

/** Fills a small canvas with the colours from the lowest to the highest. */
export function paintColourBar(canvas, scale) {
  const texts = colourScaleTexts(scale);
  canvas.width = texts.length;
  canvas.height = 1;
  const context = canvas.getContext("2d");
  texts.forEach((text, index) => {
    context.fillStyle = text;
    context.fillRect(index, 0, 1, 1);
  });
}
