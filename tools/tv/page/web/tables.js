// Settings, features and failing functions: tables that one can search and edit.

import {button, h, keep, put, setText} from "./dom.js";
import {settingValue, word} from "./lines.js";

let ids = 0;

/**
 * A table with a field to search it.
 * @param columns [[title, class], …]
 * @param itemsOf () => items
 * @param make (item) => row, with row.update(item)
 * @param textOf (item) => what is searched
 */
function table(app, {name, columns, itemsOf, keyOf, textOf, make, add, empty}) {
    const search = h("input", {type: "search", placeholder: `Search ${name}`, "aria-label": `Search ${name}`, class: "search"});
    const count = h("span", {class: "count", role: "status"});
    const body = h("tbody");
    const nothing = h("p", {class: "nothing"}, empty);
    const update = () => {
        const wanted = search.value.trim().toLowerCase().split(/\s+/);
        const all = itemsOf();
        const items = all.filter((item) => wanted.every((part) => textOf(item).toLowerCase().includes(part)));
        keep(body, items, keyOf, make);
        setText(count, items.length === all.length ? String(all.length) : `${items.length} of ${all.length}`);
        nothing.hidden = items.length > 0;
        app.mayAct();
    };
    search.addEventListener("input", update);
    app.model.addEventListener("state", update);
    return [h("div", {class: "table-bar"}, search, count),
        h("div", {class: "table-scroll", tabindex: "0", role: "region", "aria-label": name},
            h("table", {}, h("thead", {}, h("tr", {}, columns.map((column) => h("th", {scope: "col"}, column)))), body), nothing),
        add];
}

/** An input in a cell that says its line when it was changed; Escape puts back what was there. */
function cell(app, label, value, make) {
    const input = h("input", {class: "cell live", "aria-label": label, value, spellcheck: "false"});
    let was = value;
    const says = () => {
        if (input.value !== was) {
            app.say(make(input.value));
        }
    };
    input.addEventListener("keydown", (event) => {
        if (event.key === "Enter") {
            says();
        } else if (event.key === "Escape" && input.value !== was) {
            event.stopPropagation();
            input.value = was;
        }
    });
    input.addEventListener("change", says);
    input.shows = (now) => {
        if (document.activeElement !== input || input.value === was) {
            input.value = now;
        }
        was = now;
    };
    return input;
}

function changed(row) {
    row.classList.remove("changed");
    void row.offsetWidth; // begins the animation anew
    row.classList.add("changed");
}

/** Marks a row whose value has changed since it was last shown. */
function marks(row, shown) {
    let before = null;
    return (value) => {
        if (before !== null && before !== value) {
            changed(row);
        }
        before = value;
        shown(value);
    };
}

export function showSettings(root, app) {
    const key = h("input", {class: "live", placeholder: "db/… or memory/…", "aria-label": "Key of the new setting", spellcheck: "false"});
    const value = h("input", {class: "live", placeholder: "value", "aria-label": "Value of the new setting", spellcheck: "false"});
    const write = () => key.value.trim() && app.say(`set ${word(key.value.trim())} ${value.value.trim() || '""'}`);
    value.addEventListener("keydown", (event) => event.key === "Enter" && write());
    put(root, table(app, {
        name: "settings",
        columns: ["Key", "Type", "Value", ""],
        itemsOf: () => app.model.state.settings ?? [],
        keyOf: (setting) => setting.key,
        textOf: (setting) => `${setting.key} ${setting.value}`,
        empty: "No setting has this in its key or value.",
        make: (setting) => {
            let type = setting.type;
            const input = cell(app, `Value of ${setting.key}`, String(setting.value ?? ""),
                (text) => `set ${word(setting.key)} ${settingValue(type, text)}`);
            const kind = h("td", {class: "type"});
            const row = h("tr", {"data-key": setting.key}, h("th", {scope: "row", title: setting.key}, h("bdi", {}, setting.key)), kind, h("td", {}, input),
                h("td", {}, button("×", () => app.say(`unset ${word(setting.key)}`), {class: "live icon", "aria-label": `Remove ${setting.key}`})));
            const shows = marks(row, (now) => input.shows(now));
            row.update = (now) => {
                type = now.type;
                setText(kind, String(now.type ?? ""));
                shows(String(now.value ?? ""));
            };
            return row;
        },
        add: h("div", {class: "add"}, key, value, button("Write", write, {class: "live"})),
    }));
}

export function showFeatures(root, app) {
    const name = h("input", {class: "live", placeholder: "name", "aria-label": "Name of the feature", spellcheck: "false"});
    const value = h("input", {class: "live", placeholder: "true, false, a number, none", "aria-label": "Value of the feature", spellcheck: "false"});
    const write = () => name.value.trim() && app.say(`feature ${word(name.value.trim())} ${word(value.value.trim())}`);
    value.addEventListener("keydown", (event) => event.key === "Enter" && write());
    put(root, table(app, {
        name: "features",
        columns: ["Feature", "Value", ""],
        itemsOf: () => app.model.state.features ?? [],
        keyOf: (feature) => feature.name,
        textOf: (feature) => `${feature.name} ${feature.value}`,
        empty: "The set has no such feature.",
        make: (feature) => {
            const input = cell(app, `Value of ${feature.name}`, String(feature.value ?? ""),
                (text) => `feature ${word(feature.name)} ${word(text)}`);
            const row = h("tr", {"data-key": feature.name}, h("th", {scope: "row", title: feature.name}, h("bdi", {}, feature.name)), h("td", {}, input),
                h("td", {}, button("×", () => app.say(`feature ${word(feature.name)} none`), {class: "live icon", "aria-label": `Remove ${feature.name}`})));
            const shows = marks(row, (now) => input.shows(now));
            row.update = (now) => shows(String(now.value ?? ""));
            return row;
        },
        add: h("div", {class: "add"}, name, value, button("Set", write, {class: "live"})),
    }));
}

export function showFailures(root, app) {
    const id = ++ids;
    const functions = h("datalist", {id: `functions-${id}`});
    const codes = h("datalist", {id: `codes-${id}`});
    const name = h("input", {class: "live grow", list: functions.id, placeholder: "function, such as bt_adapter_enable", "aria-label": "Function that fails", id: "fail-function", spellcheck: "false"});
    const code = h("input", {class: "live", list: codes.id, placeholder: "code", value: "OPERATION_FAILED", "aria-label": "Code that it answers", id: "fail-code", spellcheck: "false"});
    const times = h("input", {class: "live narrow", type: "number", min: "1", placeholder: "always", "aria-label": "How many times", id: "fail-times"});
    const fails = () => name.value.trim() && app.say(`fail ${name.value.trim()} ${code.value.trim()} ${times.value}`.trim());
    app.model.addEventListener("hello", () => {
        const {hello} = app.model;
        functions.replaceChildren(...(hello.functions ?? []).map((each) => h("option", {value: each})));
        const known = hello.commands.find((command) => command.syntax.startsWith("fail "))?.choices?.CODE ?? [];
        codes.replaceChildren(...known.map((each) => h("option", {value: each})));
    });
    put(root, h("div", {class: "add first"}, name, functions, code, codes, times, button("Let it fail", fails, {class: "live primary", id: "fail-now"})),
        table(app, {
            name: "failing functions",
            columns: ["Function", "Answers", "Left", ""],
            itemsOf: () => app.model.state.failures ?? [],
            keyOf: (failure) => failure.function,
            textOf: (failure) => `${failure.function} ${failure.code}`,
            empty: "All platform functions work.",
            make: (failure) => {
                const answer = h("td", {class: "type"});
                const left = h("td", {class: "type"});
                const row = h("tr", {"data-key": failure.function}, h("th", {scope: "row"}, failure.function), answer, left,
                    h("td", {}, button("Recover", () => app.say(`recover ${failure.function}`), {class: "live small", "aria-label": `${failure.function} recovers`})));
                row.update = (now) => {
                    setText(answer, String(now.code));
                    setText(left, now.left > 0 ? `${now.left} ×` : "always");
                };
                return row;
            },
            add: null,
        }));
}
