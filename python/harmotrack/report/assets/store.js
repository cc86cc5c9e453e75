// What the reader looks at, in one place; panels are told what changed.

export class Store {
  #values;
  #listeners = [];

  constructor(values) {
    this.#values = { ...values };
  }

  get(name) {
    return this.#values[name];
  }

  /** Calls `listener` once for each set() that changes one of the names. */
  listen(names, listener) {
    this.#listeners.push({ names, listener });
  }

  set(changes) {
    const changed = Object.keys(changes).filter((name) => this.#values[name] !== changes[name]);
    if (changed.length === 0) return;
    Object.assign(this.#values, changes);
    for (const { names, listener } of this.#listeners) {
      if (names.some((name) => changed.includes(name))) listener();
    }
  }
}
