// Colours of the page, and when they change: by the system, by the switch, for paper.

const root = document.documentElement;
const paper = window.matchMedia("print");
const darkness = window.matchMedia("(prefers-color-scheme: dark)");

let chosen = null;
let printing = false;
let styles = null;
const listeners = [];

/** A colour of the style sheet, by the name of its variable. */
export function colour(name) {
  styles ??= window.getComputedStyle(root);
  return styles.getPropertyValue(`--${name}`).trim();
}

export function isPrinting() {
  return printing;
}

/** Calls `listener` after the colours, or the size of the page by printing, have changed. */
export function onThemeChange(listener) {
  listeners.push(listener);
}

export function isDark() {
  return root.dataset.theme === "dark";
}

export function chooseTheme(name) {
  chosen = name;
  apply();
}

function apply() {
  const system = darkness.matches ? "dark" : "light";
  root.dataset.theme = printing ? "light" : (chosen ?? system);
  root.classList.toggle("printing", printing);
  styles = null;
  for (const listener of listeners) listener();
}

function setPrinting(now) {
  if (now === printing) return;
  printing = now;
  apply();
}

export function watchTheme() {
  darkness.addEventListener("change", apply);
  paper.addEventListener("change", () => setPrinting(paper.matches));
  window.addEventListener("beforeprint", () => setPrinting(true));
  window.addEventListener("afterprint", () => setPrinting(false));
  setPrinting(paper.matches);
}
