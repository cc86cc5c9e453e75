// The arrays of the page; how they are written stands in levels.py.

const NOT_MEASURED = 0;
const SILENT = 1;
const FIRST_LEVEL = 2;

function bytesOf(base64) {
  if (Uint8Array.fromBase64) return Uint8Array.fromBase64(base64);
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < bytes.length; i += 1) bytes[i] = text.charCodeAt(i);
  return bytes;
}

/** Numbers to the last bit. */
export function decodeArray({ type, data }) {
  const buffer = bytesOf(data).buffer;
  return type === "f64" ? new Float64Array(buffer) : new Float32Array(buffer);
}

/** A map of levels, shape (rows, columns), with its amplitudes in the channel's unit. */
export class LevelMap {
  constructor(description, codes) {
    Object.assign(this, description);
    this.codes = codes;
  }

  /** dB re 1 of the unit; -Infinity where it is silent, NaN where nothing was measured. */
  level(row, column) {
    return this.levelOfCode(this.codes[row * this.columns + column]);
  }

  levelOfCode(code) {
    if (code === NOT_MEASURED) return Number.NaN;
    if (code === SILENT) return -Infinity;
    return this.base + this.step * (code - FIRST_LEVEL);
  }

  isMeasured(row) {
    return this.codes[row * this.columns] !== NOT_MEASURED;
  }
}

/** Unpacks the codes of a map; the browser's own inflater does the work. */
export async function decodeLevels(description, base64) {
  const count = description.rows * description.columns;
  const bytes = await inflate(bytesOf(base64), 2 * count);
  const codes = new Uint16Array(count);
  for (let i = 0; i < count; i += 1) codes[i] = bytes[i] | (bytes[count + i] << 8);
  undoPredictor(codes, description);
  return new LevelMap(description, codes);
}

async function inflate(packed, size) {
  const inflater = new DecompressionStream("deflate");
  const writer = inflater.writable.getWriter();
  const written = writer.write(packed).then(() => writer.close());
  const bytes = new Uint8Array(size);
  const reader = inflater.readable.getReader();
  let count = 0;
  for (let part = await reader.read(); !part.done; part = await reader.read()) {
    bytes.set(part.value, count);
    count += part.value.length;
  }
  await written;
  return bytes;
}

// Sums wrap at 65536, as the differences did.
function undoPredictor(codes, { predictor, rows, columns }) {
  if (predictor === "above") {
    for (let i = columns; i < codes.length; i += 1) codes[i] += codes[i - columns];
  } else if (predictor === "before") {
    for (let row = 0; row < rows; row += 1) {
      const end = (row + 1) * columns;
      for (let i = row * columns + 1; i < end; i += 1) codes[i] += codes[i - 1];
    }
  }
}
