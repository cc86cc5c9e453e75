// The tool bar.

import { paintColourBar } from "./colour_bar.js";
import { number } from "./format.js";
import { chooseTheme, isDark, onThemeChange } from "./theme.js";

const LEAST_SPAN_DB = 1;

export function makeControls(context, { chooseChannel, addOrder, zoomOut }) {
  const { store } = context;
  const element = (id) => document.getElementById(id);
  element("channel").addEventListener("change", (event) =>
    chooseChannel(Number(event.target.value)),
  );
  for (const name of ["scale-db", "scale-linear"]) {
    element(name).addEventListener("change", () =>
      store.set({ isLinear: element("scale-linear").checked }),
    );
  }
  element("colour-scale").addEventListener("change", (event) =>
    store.set({ colourScale: event.target.value }),
  );
  for (const end of ["low", "high"]) {
    element(end).addEventListener("change", () =>
      takeRange(context, element("low"), element("high"), end),
    );
  }
  element("harmonic-cursors").addEventListener("change", (event) =>
    store.set({ hasHarmonicCursors: event.target.checked }),
  );
  element("slices").addEventListener("change", (event) =>
    store.set({ usesSlices: event.target.checked }),
  );
  element("zoom-out").addEventListener("click", zoomOut);
  element("add-cut").addEventListener("submit", (event) => {
    event.preventDefault();
    const value = element("cut-order").valueAsNumber;
    if (Number.isFinite(value)) addOrder(value);
  });
  makeThemeSwitch(element("theme"));
  store.listen(["maps", "low", "high", "colourScale", "isLinear"], () => showColourBar(context));
}

// A range that is upside down or no number is put back.
function takeRange(context, low, high) {
  const [from, to] = [low.valueAsNumber, high.valueAsNumber];
  if (from + LEAST_SPAN_DB <= to) context.store.set({ low: from, high: to });
  low.value = String(context.get("low"));
  high.value = String(context.get("high"));
}

function showColourBar(context) {
  const [low, high] = [context.get("low"), context.get("high")];
  document.getElementById("low").value = String(low);
  document.getElementById("high").value = String(high);
  paintColourBar(document.getElementById("colour-bar"), context.get("colourScale"));
  const { referenceLevel } = context.channel;
  const ends = context.get("isLinear") ? [0, 10 ** ((high + referenceLevel) / 20)] : [low, high];
  document.getElementById("colour-low").textContent = number(ends[0]);
  document.getElementById("colour-high").textContent = number(ends[1]);
  document.getElementById("colour-label").textContent = context.scaleLabel();
}

function makeThemeSwitch(button) {
  const show = () => {
    button.textContent = isDark() ? "Light" : "Dark";
    button.setAttribute("aria-label", `Use ${isDark() ? "light" : "dark"} colours`);
  };
  button.addEventListener("click", () => chooseTheme(isDark() ? "light" : "dark"));
  onThemeChange(show);
  show();
}
