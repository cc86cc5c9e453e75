// Numbers as people read them.

/** A number with so many significant digits, never as a power of ten; a dash if there is none. */
export function number(value, digits = 4) {
  if (value === null || !Number.isFinite(value)) return "—";
  if (value === 0) return "0";
  const decimals = digits - 1 - Math.floor(Math.log10(Math.abs(value)));
  const text = value.toFixed(Math.min(Math.max(decimals, 0), 20));
  return text.includes(".") ? text.replace(/\.?0+$/, "") : text;
}

/** A number with its unit, if it has one. */
export function amount(value, unit, digits = 4) {
  return `${number(value, digits)} ${unit}`.trimEnd();
}

/** A level in dB, two decimals. */
export function decibels(value) {
  return Number.isFinite(value) ? `${value.toFixed(2)} dB` : "—";
}

/** An angle in degrees, one decimal. */
export function degrees(value) {
  return Number.isFinite(value) ? `${value.toFixed(1)}°` : "—";
}

/** Round values that divide a range: about so many of them, in steps of 1, 2 or 5 times 10^n. */
export function ticks(low, high, about) {
  const span = high - low;
  if (!(span > 0)) return { values: [low], decimals: 0 };
  const rough = span / Math.max(about, 1);
  const power = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].find((factor) => factor * power >= rough * 0.999) * power;
  const decimals = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
  const values = [];
  for (let i = Math.ceil(low / step - 1e-9); i * step <= high + 1e-9 * step; i += 1) {
    values.push(i * step);
  }
  return { values, decimals };
}
