// Why something happened: its chain of causes in words, and what came of it.

import {button, h, put} from "./dom.js";
import {because, laneClass, laneTitle, meaning, moment, plural, whatItIs} from "./words.js";

const kMostEffects = 60;
const kMostAsked = 12; // the last ones decide

function sentence(entry) {
    const words = meaning(entry);
    return words ? [`${whatItIs(entry)}: `, h("b", {}, words)] : [whatItIs(entry)];
}

/** A capital is for the beginning of a sentence only. */
function lowered(text) {
    return text.charAt(0).toLowerCase() + text.slice(1);
}

export class Why {
    constructor(root, lanes) {
        this.root = root;
        this.lanes = lanes;
        this.shown = "";
    }

    get model() {
        return this.lanes.model;
    }

    shows(entry) {
        this.root.hidden = entry === null;
        this.shown = "";
        this.refreshes(entry);
    }

    /** More may have come of it since. */
    refreshes(entry) {
        if (!entry || this.root.hidden) {
            return;
        }
        const effects = this.model.effectsOf(entry);
        const chain = this.model.chain(entry);
        const state = `${entry.id} ${effects.length} ${chain[0].id}`;
        if (state === this.shown) {
            return;
        }
        this.shown = state;
        put(this.root,
            h("div", {class: "why-head"}, h("h3", {}, "Why this happened"),
                button("×", () => this.closes(), {class: "icon", "aria-label": "Close"})),
            h("ol", {class: "chain"}, this.beginning(chain[0]), chain.map((each, at) => this.step(each, at, entry, chain[at + 1]))),
            this.details(entry),
            h("h4", {}, effects.length > 0 ? `What came of it: ${plural(effects.length, "thing")}` : "Nothing came of it."),
            h("ul", {class: "effects"}, effects.slice(0, kMostEffects).map((effect) => h("li", {}, this.jump(effect)))),
            effects.length > kMostEffects ? h("p", {class: "nothing"}, `and ${plural(effects.length - kMostEffects, "more thing")}`) : null);
        this.root.scrollTop = 0;
    }

    closes() {
        this.lanes.shows(null);
        this.lanes.scroll.focus({preventScroll: true});
    }

    /** What is known of what came before the first of the chain. */
    beginning(first) {
        if (first.cause) {
            return h("li", {class: "unknown"}, "What led to this is older than what is kept here.");
        }
        return first.kind === "line" || first.kind === "life" || first.kind === "note" ? null :
            h("li", {class: "unknown"}, "Nothing that is known led to this.");
    }

    /** What was read on the way to the next of the chain. */
    asked(entry, next) {
        const all = next ? this.model.askedBefore(entry, next) : [];
        const last = all.slice(-kMostAsked);
        return all.length === 0 ? null : h("details", {class: "asked"},
            h("summary", {}, `It asked for ${plural(all.length, "thing")} before that`),
            h("ul", {}, all.length > last.length ? h("li", {class: "nothing"}, `${plural(all.length - last.length, "more")} before`) : null,
                last.map((each) => h("li", {}, button(each.text, () => this.lanes.goes(each.id), {class: "asked-one", title: "Show it in what happened"})))));
    }

    step(entry, at, chosen, next) {
        const words = sentence(entry);
        if (at > 0) {
            const cause = this.model.cause(entry);
            words[0] = `${because(cause)} ${lowered(words[0])}`;
            words[0] = words[0].charAt(0).toUpperCase() + words[0].slice(1);
        }
        return h("li", {class: `${laneClass(entry.lane, this.model.lanes)}${entry === chosen ? " chosen" : ""}`, "data-id": entry.id},
            h("i", {class: "spot"}),
            h("div", {}, h("p", {class: "step-words"}, words), this.jump(entry, entry === chosen),
                h("p", {class: "step-when"}, `${moment(entry.at)} · ${laneTitle(entry.lane)}`), this.asked(entry, next)));
    }

    jump(entry, isChosen = false) {
        return button(entry.text, () => this.lanes.goes(entry.id), {class: `jump ${laneClass(entry.lane, this.model.lanes)}`, "aria-current": isChosen ? "true" : null,
            title: entry.words ?? ""});
    }

    details(entry) {
        const rows = [];
        const tell = (label, value) => value !== undefined && value !== null && value !== "" && rows.push([label, value]);
        (entry.arguments ?? []).forEach((argument, at) => tell(argument.name ?? `argument ${at + 1}`, argument.text ?? String(argument)));
        tell("result", entry.result);
        (entry.outputs ?? []).forEach((output) => tell("gave", output.text ?? String(output)));
        tell("priority", {D: "debug", I: "information", W: "warning", E: "error"}[entry.priority]);
        tell("tag", entry.tag);
        tell("source", entry.file ? `${entry.file}:${entry.line ?? ""}` : null);
        tell("waits up to", entry.timeout ? `${entry.timeout} ms` : null);
        return rows.length === 0 ? null : h("dl", {class: "details"}, rows.map(([label, value]) => [h("dt", {}, label), h("dd", {}, value)]));
    }
}
