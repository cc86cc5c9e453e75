// The cuts as a table, made when it is opened: a long run has thousands of rows.

import { number } from "./format.js";

export function makeCutTable(context) {
  const holder = document.getElementById("cut-table");
  const update = () => {
    if (holder.open) fill(context, holder.querySelector("table"));
  };
  holder.addEventListener("toggle", update);
  context.store.listen(["maps", "cuts"], update);
}

function fill(context, table) {
  const { results } = context;
  const channel = context.get("channel");
  const { unit } = context.channel;
  const cuts = context.get("cuts").filter((cut) => cut.harmonic >= 0);
  const head = ["Speed, rpm"];
  for (const cut of cuts) {
    head.push(named(`Order ${number(cut.order, 6)}`, unit));
    if (cut.hasPhase) {
      head.push(`Phase of ${number(cut.order, 6)}, °`, `Coherence of ${number(cut.order, 6)}`);
    }
  }
  head.push(named("Overall", `${unit} rms`.trim()));
  const rows = [];
  for (let row = 0; row < results.speed.length; row += 1) {
    if (!context.maps.order.isMeasured(row) && Number.isNaN(results.overall(channel, row)))
      continue;
    const cells = [results.speed[row]];
    for (const cut of cuts) {
      cells.push(results.amplitude(channel, cut.harmonic, row));
      if (cut.hasPhase) {
        cells.push(results.phase(channel, cut.harmonic, row));
        cells.push(results.coherence(channel, cut.harmonic, row));
      }
    }
    cells.push(results.overall(channel, row));
    rows.push(cells);
  }
  table.tHead.replaceChildren(rowOf(head, "th", String));
  table.tBodies[0].replaceChildren(
    ...rows.map((cells) => rowOf(cells, "td", (value) => number(value, 7))),
  );
}

function named(name, unit) {
  return unit ? `${name}, ${unit}` : name;
}

function rowOf(values, tag, text) {
  const row = document.createElement("tr");
  for (const value of values) {
    const cell = row.appendChild(document.createElement(tag));
    cell.textContent = text(value);
    if (tag === "th") cell.scope = "col";
    else cell.dataset.value = String(value);
  }
  return row;
}
