// The command line: completion, history, many lines at once.

import {h, setAttribute, setText} from "./dom.js";
import {completions, hintFor} from "./lines.js";

const kMostShown = 12;
const kMostKept = 200;

export class Prompt {
    constructor(form, outcome, app) {
        this.app = app;
        this.outcome = outcome;
        this.history = [];
        this.at = 0;
        this.found = [];
        this.chosen = -1;
        this.input = h("input", {
            id: "line", class: "live", type: "text", role: "combobox", "aria-expanded": "false", "aria-controls": "completions",
            "aria-autocomplete": "list", "aria-label": "Command line", placeholder: "A line, such as: remote battery adc 15   ( : to come here)",
            spellcheck: "false", autocapitalize: "off", autocomplete: "off",
        });
        this.list = h("ul", {id: "completions", role: "listbox", "aria-label": "What could follow", hidden: true});
        this.hint = h("span", {class: "hint", id: "line-hint"});
        this.input.setAttribute("aria-describedby", this.hint.id);
        form.append(h("label", {for: "line", class: "mark", "aria-hidden": "true"}, "›"), h("div", {class: "line-box"}, this.input, this.list),
            this.hint, h("button", {type: "submit", class: "live primary"}, "Do"));
        form.addEventListener("submit", (event) => {
            event.preventDefault();
            this.submits();
        });
        this.input.addEventListener("input", () => this.offers());
        this.input.addEventListener("focus", () => this.input.value && this.offers());
        this.input.addEventListener("blur", () => this.closes());
        this.input.addEventListener("keydown", (event) => this.pressed(event));
        this.input.addEventListener("paste", (event) => this.pasted(event));
        app.model.addEventListener("done", (event) => this.told(event.detail));
        app.model.addEventListener("error", (event) => this.fails(event.detail));
    }

    submits() {
        const line = this.input.value.trim();
        if (line === "" || !this.app.say(line)) {
            return;
        }
        this.history = [...this.history.filter((each) => each !== line), line].slice(-kMostKept);
        this.at = this.history.length;
        this.input.value = "";
        this.closes();
    }

    /** Several lines are said one by one; the last one stays for whoever wants to go on with it. */
    pasted(event) {
        const lines = event.clipboardData.getData("text").split(/\r?\n/).map((line) => line.trim()).filter(Boolean);
        if (lines.length > 1) {
            event.preventDefault();
            lines.forEach((line) => this.app.say(line));
            this.says(`${lines.length} lines were sent.`);
        }
    }

    offers() {
        const text = this.input.value;
        this.found = text.trim() === "" ? [] : completions(text, this.app.model.hello, this.app.model.state).slice(0, kMostShown);
        this.chosen = -1;
        const isOne = new Set(this.found.map((each) => each.hint)).size === 1; // then it is said once, over the line
        const command = hintFor(text, this.app.model.hello);
        setText(this.hint, command ? `${command.syntax} — ${command.help ?? ""}` : "");
        this.list.replaceChildren(...this.found.map((each, at) => h("li", {
            role: "option", id: `completion-${at}`, "aria-selected": "false",
            onpointerdown: (event) => {
                event.preventDefault();
                this.takes(at);
            },
        }, h("b", {}, each.text.trim()), isOne ? null : h("span", {}, each.hint))));
        this.list.hidden = this.found.length === 0;
        setAttribute(this.input, "aria-expanded", String(this.found.length > 0));
        setAttribute(this.input, "aria-activedescendant", null);
    }

    closes() {
        this.list.hidden = true;
        this.chosen = -1;
        this.found = [];
        setText(this.hint, "");
        setAttribute(this.input, "aria-expanded", "false");
        setAttribute(this.input, "aria-activedescendant", null);
    }

    points(at) {
        this.chosen = (at + this.found.length) % this.found.length;
        [...this.list.children].forEach((item, each) => setAttribute(item, "aria-selected", String(each === this.chosen)));
        setAttribute(this.input, "aria-activedescendant", `completion-${this.chosen}`);
        this.list.children[this.chosen].scrollIntoView({block: "nearest"});
    }

    takes(at) {
        this.input.value = this.found[at].text;
        this.offers();
    }

    /** What all completions begin with, as a shell does. */
    completes() {
        if (this.chosen >= 0 || this.found.length === 1) {
            this.takes(Math.max(0, this.chosen));
            return;
        }
        const texts = this.found.map((each) => each.text.trimEnd());
        let common = texts[0];
        while (!texts.every((text) => text.startsWith(common))) {
            common = common.slice(0, -1);
        }
        if (common.length > this.input.value.length) {
            this.input.value = common;
            this.offers();
        } else {
            this.points(0);
        }
    }

    pressed(event) {
        const isOpen = this.found.length > 0;
        const old = {ArrowUp: -1, ArrowDown: 1}[event.key];
        if (event.key === "Tab" && !event.shiftKey && isOpen) {
            event.preventDefault();
            this.completes();
        } else if (old && isOpen) {
            event.preventDefault();
            this.points(this.chosen < 0 && old < 0 ? this.found.length - 1 : this.chosen + old);
        } else if (old && this.history.length > 0) {
            event.preventDefault();
            this.at = Math.min(this.history.length, Math.max(0, this.at + old));
            this.input.value = this.history[this.at] ?? "";
        } else if (event.key === "Enter" && this.chosen >= 0) {
            event.preventDefault();
            this.takes(this.chosen);
        } else if (event.key === "Escape") {
            event.stopPropagation();
            isOpen ? this.closes() : this.input.blur();
        }
    }

    says(text) {
        this.outcome.className = "outcome";
        setText(this.outcome, text);
    }

    fails(text) {
        this.outcome.className = "outcome wrong";
        setText(this.outcome, text);
    }

    told({line, error}) {
        if (error) {
            this.fails(`${line}: ${error}`);
        } else {
            this.outcome.className = "outcome";
            this.outcome.replaceChildren(h("code", {}, line), " — done");
        }
    }
}
