// The set and what lies around it. A thing that is carried to the set connects, one that is carried away disconnects.

import {button, drawing, h, s, rove, setAttribute, setText} from "./dom.js";

export const kThings = [
    {name: "remote", title: "Smart remote", side: "left"},
    {name: "wheel", title: "Wheel", side: "left"},
    {name: "stand", title: "Stand", side: "left"},
    {name: "speaker", title: "Speaker", side: "right"},
    {name: "phone", title: "Phone", side: "right"},
    {name: "keyboard", title: "Keyboard", side: "right"},
];

const kPower = [
    ["normal", "Normal"],
    ["picture-off", "Picture off"],
    ["standby", "Standby"],
    ["suspend", "Suspend"],
    ["ambient", "Ambient"],
];

const kStates = ["normal", "picture-off", "standby", "off", "suspend"]; // as the set numbers them

const kFarEnough = 6; // pixels until a press becomes a carrying
const kBatteryIsLow = 14;

/** As the service reads it; null before it was reported. */
export function batteryLevel(thing) {
    return thing.battery > 0 ? thing.battery >> 3 : null;
}

function telling(thing) {
    if (!thing.connected) {
        return thing.bonded ? "paired, away" : "away";
    }
    const level = batteryLevel(thing);
    return level === null ? "here" : `here · battery ${level}`;
}

/** "normal" and so on, or "unplugged". */
export function powerOf(state) {
    if (state.running === false) {
        return "unplugged";
    }
    const power = state.power ?? {};
    return power.ambient > 0 ? "ambient" : kStates[power.state ?? 0] ?? `state ${power.state}`;
}

function adapterInWords(adapter) {
    const on = adapter.state === 1;
    const words = [on ? "Bluetooth on" : "Bluetooth off"];
    if (adapter.name) {
        words.push(`“${adapter.name}”`);
    }
    if (on) {
        words.push(adapter.visibility > 0 ? "visible" : "hidden");
        words.push(adapter.connectable ? "connectable" : "not connectable");
    }
    return adapter.headless ? [...words, "headless"] : words;
}

class Card {
    constructor(thing, app) {
        this.thing = thing;
        this.app = app;
        this.status = h("span", {class: "card-status"});
        this.battery = h("span", {class: "card-battery", hidden: true});
        this.element = h("button", {
            type: "button", class: "card", id: `card-${thing.name}`, "data-thing": thing.name, tabindex: "-1",
            "aria-describedby": "carry-hint", onclick: () => this.carried ? null : app.choose(thing.name),
            onkeydown: (event) => this.pressed(event),
        }, h("span", {class: "card-icon"}, drawing(thing.name)),
        h("span", {class: "card-text"}, h("span", {class: "card-title"}, thing.title), this.status), this.battery);
        this.element.addEventListener("pointerdown", (event) => this.grabbed(event));
    }

    get isHere() {
        return Boolean(this.app.model.state[this.thing.name]?.connected);
    }

    update(state, chosen) {
        const thing = state[this.thing.name] ?? {};
        setText(this.status, telling(thing));
        this.element.classList.toggle("here", Boolean(thing.connected));
        setAttribute(this.element, "aria-pressed", String(chosen === this.thing.name));
        const level = batteryLevel(thing);
        this.battery.hidden = level === null;
        if (level !== null) {
            this.battery.style.setProperty("--level", String(level / 31));
            this.battery.classList.toggle("low", level <= kBatteryIsLow / 2);
        }
    }

    toggle() {
        this.app.say(`${this.thing.name} ${this.isHere ? "disconnect" : "connect"}`);
    }

    pressed(event) {
        if (event.ctrlKey || event.metaKey || event.altKey) {
            return;
        }
        if (event.key === "c") {
            event.preventDefault();
            event.stopPropagation();
            this.toggle();
        } else if (event.key === "l" && this.thing.name !== "stand") {
            event.preventDefault();
            event.stopPropagation();
            this.app.say(`${this.thing.name} lose`);
        }
    }

    grabbed(event) {
        this.carried = false;
        // A finger elsewhere on the card scrolls the page.
        const fromIcon = event.target.closest(".card-icon") !== null;
        if (event.button !== 0 || !event.isPrimary || (event.pointerType === "touch" && !fromIcon)) {
            return;
        }
        const from = {x: event.clientX, y: event.clientY};
        const moves = (move) => this.moves(move, from);
        const ends = (end) => {
            this.element.removeEventListener("pointermove", moves);
            this.element.removeEventListener("pointerup", ends);
            this.element.removeEventListener("pointercancel", ends);
            this.dropped(end);
        };
        this.element.setPointerCapture(event.pointerId);
        this.element.addEventListener("pointermove", moves);
        this.element.addEventListener("pointerup", ends);
        this.element.addEventListener("pointercancel", ends);
    }

    moves(event, from) {
        const x = event.clientX - from.x;
        const y = event.clientY - from.y;
        if (!this.carried && Math.hypot(x, y) < kFarEnough) {
            return;
        }
        this.carried = true;
        this.element.classList.add("carried");
        this.element.style.transform = `translate(${x}px, ${y}px)`;
        this.app.stage.hovers(this.app.stage.zoneAt(event.clientX, event.clientY));
    }

    dropped(event) {
        this.element.classList.remove("carried");
        this.element.style.transform = "";
        const zone = this.carried && event.type === "pointerup" ? this.app.stage.zoneAt(event.clientX, event.clientY) : null;
        this.app.stage.hovers(null);
        if (zone === "set" && !this.isHere) {
            this.app.say(`${this.thing.name} connect`);
        } else if (zone === "table" && this.isHere) {
            this.app.say(`${this.thing.name} disconnect`);
        }
    }
}

function screen() {
    return s("svg", {class: "tv", viewBox: "0 0 320 212", "aria-hidden": "true"},
        s("defs", {},
            s("linearGradient", {id: "picture", x1: "0", y1: "0", x2: "0.4", y2: "1"},
                s("stop", {class: "sky-1", offset: "0"}), s("stop", {class: "sky-2", offset: "1"}))),
        s("path", {class: "tv-foot", d: "M120 204h80M160 188v16"}),
        s("rect", {class: "tv-frame", x: "4", y: "4", width: "312", height: "184", rx: "10"}),
        s("rect", {class: "tv-dark", x: "12", y: "12", width: "296", height: "164", rx: "4"}),
        s("g", {class: "tv-picture"},
            s("rect", {x: "12", y: "12", width: "296", height: "164", rx: "4", fill: "url(#picture)"}),
            s("circle", {class: "sun", cx: "232", cy: "66", r: "21"}),
            s("path", {class: "hill far", d: "M12 136c44-34 84-34 128-8 46 26 100 12 168-26v70a4 4 0 0 1-4 4H16a4 4 0 0 1-4-4z"}),
            s("path", {class: "hill", d: "M12 152c62-24 108-10 152 6 52 18 100 10 144-14v28a4 4 0 0 1-4 4H16a4 4 0 0 1-4-4z"})),
        s("g", {class: "tv-sound"}, s("path", {d: "M140 84h14l18-14v48l-18-14h-14zM184 82q10 12 0 24M194 74q18 20 0 40"})),
        s("circle", {class: "tv-light", cx: "160", cy: "182", r: "2.6"}));
}

export class Stage {
    constructor(root, app) {
        this.app = app;
        app.stage = this;
        this.cards = new Map(kThings.map((thing) => [thing.name, new Card(thing, app)]));
        this.state = h("span", {class: "set-state"});
        this.adapter = h("p", {class: "adapter", id: "adapter"});
        this.set = h("button", {type: "button", class: "set", id: "card-set", tabindex: "0", onclick: () => app.choose("set"),
            "aria-label": "The set"}, screen(), this.state);
        this.slots = new Map(kThings.map((thing) => [thing.name, h("div", {class: "slot", "data-slot": thing.name})]));
        this.shelf = new Map(kThings.map((thing) => [thing.name, h("div", {class: "slot", "data-slot": thing.name})]));
        const sideOf = (side) => h("div", {class: `side ${side}`},
            kThings.filter((thing) => thing.side === side).map((thing) => this.slots.get(thing.name)));
        this.zones = {
            set: h("div", {class: "zone at-set", id: "at-set", role: "group", "aria-label": "With the set"},
                sideOf("left"), h("div", {class: "middle"}, this.set, this.adapter), sideOf("right")),
            table: h("div", {class: "zone table", id: "table", role: "group", "aria-label": "On the table"},
                h("span", {class: "zone-title"}, "On the table"), [...this.shelf.values()]),
        };
        root.append(h("p", {id: "carry-hint", hidden: true}, "Enter: what can be done with it. C: connect or disconnect. L: lose the link."),
            this.zones.set, this.powerBar(), this.zones.table);
        this.roving = rove(root, ".card, .set");
        app.model.addEventListener("state", () => this.update());
        app.addEventListener("choose", () => this.update());
        this.update();
    }

    powerBar() {
        const {app} = this;
        this.powers = new Map(kPower.map(([name, title]) =>
            [name, button(title, () => app.say(`power ${name}`), {class: "live", "data-line": `power ${name}`})]));
        this.plug = button("", () => app.say(app.model.state.running === false ? "plug" : "unplug"), {class: "live", id: "plug"});
        return h("div", {class: "power", role: "group", "aria-label": "Power"},
            h("div", {class: "segments"}, [...this.powers.values()]),
            button("Off", () => app.say("power off"), {class: "live", "data-line": "power off", title: "The whole way out; more options with the set itself"}),
            button("Wake", () => app.say("power wake"), {class: "live", "data-line": "power wake", title: "Tells the service that the set wakes up"}),
            this.plug);
    }

    update() {
        const {state} = this.app.model;
        const power = powerOf(state);
        const stage = this.zones.set.parentElement;
        stage.dataset.power = power;
        setText(this.state, power.replace("-", " "));
        for (const [name, each] of this.powers) {
            setAttribute(each, "aria-pressed", String(name === power));
        }
        setText(this.plug, power === "unplugged" ? "Plug in" : "Unplug");
        setAttribute(this.set, "aria-pressed", String(this.app.chosen === "set"));
        setText(this.adapter, adapterInWords(state.adapter ?? {}).join(" · "));
        for (const [name, card] of this.cards) {
            card.update(state, this.app.chosen);
            this.places(card, (card.isHere ? this.slots : this.shelf).get(name));
        }
        this.roving.stop();
    }

    /** Lets a card glide to its new place. */
    places(card, slot) {
        if (card.element.parentElement === slot) {
            return;
        }
        const had = card.element.isConnected ? card.element.getBoundingClientRect() : null;
        const focused = document.activeElement === card.element;
        slot.append(card.element);
        if (focused) {
            card.element.focus({preventScroll: true});
        }
        const calm = matchMedia("(prefers-reduced-motion: reduce)").matches;
        if (had && !calm) {
            const has = card.element.getBoundingClientRect();
            card.element.animate([{transform: `translate(${had.x - has.x}px, ${had.y - has.y}px)`}, {transform: "none"}],
                {duration: 260, easing: "cubic-bezier(.2,.8,.2,1)"});
        }
    }

    zoneAt(x, y) {
        for (const [name, zone] of Object.entries(this.zones)) {
            const box = zone.getBoundingClientRect();
            if (x >= box.left && x <= box.right && y >= box.top && y <= box.bottom) {
                return name;
            }
        }
        return null;
    }

    hovers(hovered) {
        for (const [name, zone] of Object.entries(this.zones)) {
            zone.classList.toggle("hovered", name === hovered);
            zone.parentElement.classList.toggle("carrying", hovered !== null);
        }
    }
}
