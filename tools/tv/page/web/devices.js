// What can be done with the thing that was chosen.

import {button, drawing, h, setAttribute, setText} from "./dom.js";
import {word} from "./lines.js";
import {batteryLevel, kThings} from "./stage.js";

const kIsRemote = new Set(["remote", "wheel"]);

let ids = 0;

/** A field with its label and a button that says its line; Enter in the field does too. */
function field(app, label, make, {type = "text", value = "", hint = "", width = "medium", now = null} = {}) {
    const id = `field-${++ids}`;
    const input = h("input", {id, type, value, placeholder: hint, class: `${width} live`, spellcheck: "false"});
    const says = () => app.say(make(input.value.trim()));
    input.addEventListener("keydown", (event) => {
        if (event.key === "Enter") {
            says();
        }
    });
    const element = h("div", {class: "field"}, h("label", {for: id}, label), input, button("Set", says, {class: "live small", "aria-label": `Set: ${label}`}));
    element.refresh = (thing) => {
        if (now && document.activeElement !== input) {
            input.value = String(thing[now] ?? "");
        }
    };
    return element;
}

function slider(app, label, least, most, make, valueOf) {
    const id = `field-${++ids}`;
    const output = h("output", {for: id});
    const input = h("input", {id, type: "range", min: least, max: most, class: "live"});
    const shows = () => setText(output, `${input.value} of ${most}`);
    input.addEventListener("input", shows);
    input.addEventListener("change", () => app.say(make(input.value)));
    const element = h("div", {class: "field wide"}, h("label", {for: id}, label), input, output);
    element.refresh = (thing) => {
        if (document.activeElement !== input || !input.matches(":active")) {
            input.value = String(valueOf(thing) ?? most);
            shows();
        }
    };
    return element;
}

function says(app, label, line, title = "") {
    return button(label, () => app.say(line), {class: "live", "data-line": line, title});
}

function row(label, ...children) {
    return h("div", {class: "row-of", role: "group", "aria-label": label}, h("span", {class: "row-label"}, label), children);
}

function remoteParts(name, app) {
    const status = h("input", {type: "number", class: "narrow live", value: "1", min: "0", max: "255", "aria-label": "Charging status"});
    const harvest = h("input", {type: "number", class: "narrow live", value: "", min: "0", max: "255", placeholder: "light", "aria-label": "Harvest by light"});
    const grip = h("input", {type: "number", class: "narrow live", value: "1", min: "0", max: "255", "aria-label": "Key of the grip"});
    const parts = [
        slider(app, "Battery", 0, 31, (value) => `${name} battery adc ${value}`, batteryLevel),
        row("Charge", status, harvest, button("Charge", () => app.say(`${name} charge ${status.value} ${harvest.value}`.trim()), {class: "live"})),
    ];
    if (name === "remote") {
        parts.push(row("Grip", grip, button("Grip it", () => app.say(`remote grip ${grip.value}`), {class: "live", "data-line": "remote grip"}),
            says(app, "Sensor on", "remote sensor on"), says(app, "Sensor off", "remote sensor off")));
    }
    return [...parts,
        field(app, "Firmware", (value) => `${name} firmware ${value}`, {now: "firmware"}),
        field(app, "Type", (value) => `${name} type ${value}`, {now: "type"}),
        field(app, "Address", (value) => `${name} address ${value}`, {now: "address"})];
}

function soundParts(name, app) {
    const parts = [
        row("Pairing", says(app, "Asks to be let in", `${name} ask`), says(app, "Pairs", `${name} pair`),
            says(app, "Bond", `${name} bond`), says(app, "Unbond", `${name} unbond`)),
    ];
    if (name === "speaker") {
        parts.push(slider(app, "Volume", 0, 127, (value) => `speaker volume ${value}`, (thing) => thing.volume ?? 40));
    }
    return [...parts,
        field(app, "Name", (value) => `${name} name ${word(value)}`, {now: "name"}),
        field(app, "Address", (value) => `${name} address ${value}`, {now: "address"})];
}

function setParts(app) {
    const option = h("input", {class: "medium live", list: "power-options", placeholder: "option", "aria-label": "Power-off option"});
    const options = h("datalist", {id: "power-options"});
    app.model.addEventListener("hello", () => {
        const known = app.model.hello.commands.map((command) => command.choices?.OPTION).find(Array.isArray) ?? [];
        options.replaceChildren(...known.map((each) => h("option", {value: each})));
    });
    const off = (verb, label) => button(label, () => app.say(`power ${verb} ${option.value}`.trim()), {class: "live"});
    return [
        row("Power off", option, options, off("off", "Off"), off("announce", "Announce only")),
        row("Wake", says(app, "Wake", "power wake"), says(app, "and on", "power normal")),
        row("Bluetooth", says(app, "Adapter on", "adapter on"), says(app, "Adapter off", "adapter off")),
        row("Service keys", says(app, "Off (51)", "key 51", "The key router reports the key sequence"), says(app, "On (52)", "key 52")),
        field(app, "Light in the room", (value) => `light ${value}`, {type: "number", hint: "lux"}),
        row("Message bus", says(app, "Restart", "bus restart", "The bus goes away, which ends the service; another takes its place")),
    ];
}

/** The panel for the chosen thing. Each is built once and refreshed from the state. */
export function showDevice(root, app) {
    const built = new Map();

    function build(name) {
        const thing = kThings.find((each) => each.name === name) ?? {name: "set", title: "The set"};
        const status = h("span", {class: "device-status"});
        const connect = button("", () => app.stage.cards.get(name).toggle(), {class: "live primary", id: `connect-${name}`});
        let parts = [];
        if (name === "set") {
            parts = setParts(app);
        } else if (kIsRemote.has(name)) {
            parts = remoteParts(name, app);
        } else if (name !== "stand") {
            parts = soundParts(name, app);
        }
        const actions = name === "set" ? [] : [connect, name === "stand" ? null : says(app, "Lose the link", `${name} lose`)];
        const element = h("div", {class: "device", "data-device": name},
            h("div", {class: "device-head"}, drawing(thing.name), h("div", {}, h("h3", {}, thing.title), status),
                h("div", {class: "device-actions"}, actions)), parts);
        element.refresh = () => {
            const state = app.model.state[name] ?? {};
            setText(status, name === "set" ? lockText(app.model.state.power ?? {}) :
                [state.connected ? "with the set" : "away", state.bonded ? "paired" : null, state.address].filter(Boolean).join(" · "));
            setText(connect, state.connected ? "Disconnect" : "Connect");
            parts.forEach((part) => part.refresh?.(state));
        };
        return element;
    }

    function update() {
        const name = app.chosen;
        if (!built.has(name)) {
            built.set(name, build(name));
        }
        const element = built.get(name);
        if (root.firstElementChild !== element) {
            root.replaceChildren(element);
            app.mayAct();
        }
        element.refresh();
        setAttribute(root, "data-chosen", name);
    }
    app.addEventListener("choose", update);
    app.model.addEventListener("state", update);
    update();
}

function lockText(power) {
    const locks = (power.locks ?? []).map((lock) => typeof lock === "object" ? `${lock.state} for ${lock.timeout} ms` : String(lock));
    return locks.length > 0 ? `held: ${locks.join(", ")}` : "nothing holds it";
}
