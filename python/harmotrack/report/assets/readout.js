// The numbers at the cursor, the list of cuts, and what a screen reader says of them.

import { amount, decibels, degrees, number } from "./format.js";
import { levelAt } from "./maps.js";

const SILENCE_MS = 350;

export function makeReadout(context, removeCut) {
  const { store } = context;
  const numbers = () => showNumbers(context);
  store.listen(["maps", "row", "order", "frequency", "time"], numbers);
  store.listen(["maps", "cuts"], () => buildChips(context, removeCut));
  store.listen(["maps", "row", "cuts", "usesSlices"], () => showChips(context));
  store.listen(["maps"], () => {
    document.getElementById("order-summary").textContent = context.channel.orderSummary;
    document.getElementById("frequency-summary").textContent = context.channel.frequencySummary;
  });
  announceMoves();
}

/** Writes a text and, for whoever reads the page by program, the number behind it. */
function write(id, text, value) {
  writeInto(document.getElementById(id), text, value);
}

// Most moves leave some of the texts as they are, and the others keep their node.
function writeInto(element, text, value) {
  if (!element.firstChild) element.append("");
  if (element.firstChild.data !== text) element.firstChild.data = text;
  element.dataset.value = String(value);
}

function showNumbers(context) {
  const { results, maps } = context;
  const { unit, referenceLevel } = context.channel;
  const row = context.get("row");
  const order = context.get("order");
  const frequency = context.get("frequency");
  const onOrders = levelAt(context, maps.order, context.orderEdges, order);
  const onFrequencies = levelAt(context, maps.frequency, context.frequencyEdges, frequency);
  const overall = results.overall(context.get("channel"), row);
  write("at-speed", `${number(context.speed, 6)} rpm`, context.speed);
  write("at-time", `${number(context.get("time"), 5)} s`, context.get("time"));
  write("at-order", number(order, 6), order);
  if (maps.directional) write("whirl-order", number(order, 6), order);
  write("at-frequency", `${number(frequency, 6)} Hz`, frequency);
  write("at-order-level", amplitudeText(onOrders, unit, referenceLevel), onOrders);
  write("at-frequency-level", amplitudeText(onFrequencies, unit, referenceLevel), onFrequencies);
  write("at-overall", Number.isNaN(overall) ? "not measured" : amount(overall, unit), overall);
}

function amplitudeText(level, unit, referenceLevel) {
  if (Number.isNaN(level)) return "not measured";
  return `${amount(10 ** (level / 20), unit)} · ${decibels(level - referenceLevel)}`;
}

// Cuts.

function buildChips(context, removeCut) {
  const list = document.getElementById("cuts");
  list.replaceChildren(
    ...context.get("cuts").map((cut) => {
      const item = document.createElement("li");
      item.dataset.order = String(cut.order);
      const swatch = item.appendChild(document.createElement("span"));
      swatch.className = `swatch cut-${cut.number % 6}`;
      item.appendChild(document.createElement("b")).textContent = `Order ${number(cut.order, 6)}`;
      for (const name of ["amplitude", "phase"]) {
        item.appendChild(document.createElement("span")).className = name;
      }
      const remove = item.appendChild(document.createElement("button"));
      remove.type = "button";
      remove.textContent = "×";
      remove.setAttribute("aria-label", `Remove the cut of order ${number(cut.order, 6)}`);
      remove.addEventListener("click", () => removeCut(cut));
      return item;
    }),
  );
}

function showChips(context) {
  const { results, maps } = context;
  const row = context.get("row");
  const channel = context.get("channel");
  const cuts = context.get("cuts");
  for (const [index, item] of [...document.getElementById("cuts").children].entries()) {
    const cut = cuts[index];
    const amplitude =
      cut.harmonic < 0
        ? 10 ** (levelAt(context, maps.order, context.orderEdges, cut.order) / 20)
        : results[context.get("usesSlices") ? "slice" : "amplitude"](channel, cut.harmonic, row);
    writeInto(item.querySelector(".amplitude"), amount(amplitude, context.channel.unit), amplitude);
    showPhase(item.querySelector(".phase"), results, cut, [channel, cut.harmonic, row]);
  }
}

/** The phase with its coherence: written out where that is low, else for who rests on it. */
function showPhase(element, results, cut, place) {
  const phase = cut.hasPhase ? results.phase(...place) : Number.NaN;
  const coherence = cut.hasPhase ? results.coherence(...place) : Number.NaN;
  const isFaint = coherence < results.leastCoherence;
  const words = Number.isNaN(coherence) ? "" : `coherence ${number(coherence, 2)}`;
  const text = isFaint ? `${degrees(phase)} (${words})` : degrees(phase);
  writeInto(element, Number.isNaN(phase) ? "" : text, phase);
  element.dataset.coherence = String(coherence);
  element.title = words;
  element.classList.toggle("faint", isFaint);
}

// Only moves by keyboard are spoken: those of a pointer would never end.
function announceMoves() {
  const region = document.getElementById("announcement");
  let timer = null;
  document.getElementById("explore").addEventListener("keydown", () => {
    clearTimeout(timer);
    timer = setTimeout(() => {
      const text = (id) => document.getElementById(id).textContent;
      region.textContent =
        `${text("at-speed")}, order ${text("at-order")}, ${text("at-order-level")}; ` +
        `${text("at-frequency")}, ${text("at-frequency-level")}`;
    }, SILENCE_MS);
  });
}
