// Puts the page together: what the program tells goes into the model, what is done here goes out as lines.

import {showClock} from "./clock.js";
import {button, put, setText} from "./dom.js";
import {Feed} from "./feed.js";
import {showHelp} from "./help.js";
import {Lanes} from "./lanes.js";
import {Model} from "./model.js";
import {Panels} from "./panels.js";
import {Prompt} from "./prompt.js";
import {Stage} from "./stage.js";
import {moment, plural} from "./words.js";

const $ = (id) => document.getElementById(id);

class App extends EventTarget {
    constructor() {
        super();
        this.model = new Model();
        this.feed = new Feed();
        this.chosen = "remote";
        this.waiting = 0; // lines that are not done yet
        this.told = 0; // entries that were there when the last line was done
        this.gathered = [];

        showClock($("clock"), this);
        new Stage($("stage"), this);
        this.panels = new Panels($("panels"), this);
        this.prompt = new Prompt($("prompt"), $("outcome"), this);
        this.lanes = new Lanes($("lanes"), this);
        this.help = showHelp($("help"), $("help-open"));

        this.feed.addEventListener("object", (event) => this.gathered.push(event.detail));
        this.feed.addEventListener("batch", () => this.model.takes(this.gathered.splice(0)));
        this.feed.addEventListener("open", () => this.opened());
        this.feed.addEventListener("lost", (event) => this.lost(event.detail));
        this.model.addEventListener("done", (event) => this.done(event.detail));
        this.model.addEventListener("state", () => this.linked());
        this.model.addEventListener("anew", () => {
            this.told = this.model.entries.length;
        });
        document.addEventListener("keydown", (event) => this.pressed(event));
        this.mayAct();
    }

    /** @returns {boolean} false when the program is not there to hear it */
    say(line) {
        if (!this.feed.send(line)) {
            this.prompt.fails(`The program is not there, so nothing was done: ${line}`);
            return false;
        }
        this.waiting += 1;
        this.linked();
        return true;
    }

    choose(name) {
        this.chosen = name;
        this.dispatchEvent(new CustomEvent("choose", {detail: name}));
    }

    /** What would need the program can be used only while it is there. */
    mayAct() {
        for (const element of document.querySelectorAll(".live")) {
            element.disabled = !this.feed.isOpen;
        }
    }

    opened() {
        this.waiting = 0;
        $("lost").hidden = true;
        document.body.classList.remove("is-lost");
        this.mayAct();
        this.linked();
    }

    lost(pause) {
        document.body.classList.add("is-lost");
        const wait = `trying again in ${Math.max(1, Math.round(pause / 1000))} s`;
        const when = this.model.entries.length > 0 ? ` What you see is as it was at ${moment(this.model.state.at)}.` : "";
        put($("lost"), `The connection to vyrel-tv is lost: it was stopped, or is not there yet.${when} It is looked for (${wait}). `,
            button("Try now", () => this.feed.connect(), {class: "small"}));
        $("lost").hidden = false;
        this.mayAct();
        setText($("link"), "not connected");
    }

    /** Nothing is said of the service before the program has told of it, which is a little after it was reached. */
    linked() {
        if (this.feed.isOpen) {
            const {running} = this.model.state;
            const told = running === undefined ? "" : running ? "service runs" : "set unplugged";
            setText($("link"), this.waiting > 0 ? "at work" : told);
            $("link").className = `link-state${this.waiting > 0 ? " busy" : ""}${running ? "" : " off"}`;
        }
    }

    done({line, error}) {
        this.waiting = Math.max(0, this.waiting - 1);
        this.linked();
        const all = this.model.entries.length + this.model.dropped;
        const more = Math.max(0, all - this.told);
        this.told = all;
        // The outcome beside the command line is read out too; this adds what is seen in the lanes.
        setText($("live"), error ? "" : `${line}: ${plural(more, "thing")} happened`);
    }

    pressed(event) {
        const {target} = event;
        if (event.ctrlKey || event.metaKey || event.altKey || $("help").open) {
            return;
        }
        const isTyping = target.matches("textarea, select, input:not([type=checkbox]):not([type=radio]):not([type=range]):not([type=button])");
        if (event.key === "Escape") {
            if (this.lanes.choice.open) {
                this.lanes.choice.open = false;
            } else if (isTyping) {
                target.blur();
            } else {
                this.lanes.shows(null);
            }
            return;
        }
        const panel = this.panels.names[Number(event.key) - 1];
        const keys = {
            "?": this.help,
            ":": () => $("line").focus(),
            "/": () => $("find").focus(),
            "f": () => this.lanes.follows(!this.lanes.following),
            "t": () => this.say("next timer"),
            "h": () => this.say("wait 1h"),
        };
        if (isTyping || event.repeat) {
            return;
        }
        if (Object.hasOwn(keys, event.key)) {
            event.preventDefault();
            keys[event.key]();
        } else if (panel) {
            event.preventDefault();
            this.panels.focuses(panel);
        }
    }
}

new App();
