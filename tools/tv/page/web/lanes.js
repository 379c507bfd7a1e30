// What happened, row by row. Only the rows that one sees are there, so twenty thousand scroll as twenty do.

import {button, h, keep, setAttribute, setText} from "./dom.js";
import {Rail} from "./rail.js";
import {Why} from "./why.js";
import {hasFailed, laneClass, laneTitle, meaning, moment, plural, shortTitle} from "./words.js";

const kBeyond = 6; // rows that are there above and below what one sees
const kNearEnd = 4; // pixels within which the end counts as seen

const kNarrow = 720; // pixels; below that a row has two lines
const kForTime = 108;
const kForText = 430;
const kLeastGap = 12;
const kMostGap = 62;
const kForTitles = 56; // a gap from which the whole titles fit over the lanes

function haystack(entry) {
    entry.haystack ??= `${entry.text} ${entry.words ?? ""} ${entry.subject ?? ""} ${entry.tag ?? ""} ${entry.file ?? ""} ${entry.lane} ${entry.kind}`.toLowerCase();
    return entry.haystack;
}

/** What changes nothing that anybody would notice: calls that only ask, listen or free, and the log. The prompt leaves it out, too. */
function isQuiet(entry) {
    return (entry.kind === "call" && (entry.query || (!entry.words && !hasFailed(entry)))) || entry.kind === "log";
}

function makeRow(lanes) {
    return (entry) => {
        const time = h("span", {class: "row-time"});
        const words = h("span", {class: "row-words"});
        const text = h("span", {class: "row-text"});
        const lane = h("span", {class: "row-lane"});
        const row = h("div", {role: "option", id: `entry-${entry.id}`, class: "row", "data-id": entry.id},
            time, h("span", {class: "row-space"}), h("span", {class: "row-what"}, words, text), lane);
        row.update = (now) => {
            setText(time, moment(now.at));
            const means = meaning(now);
            const subject = now.kind === "call" && now.subject ? `${now.subject}: ` : "";
            setText(words, means ? subject + means : "");
            setText(text, now.message ? `${now.priority} ${now.message}` : now.text);
            setText(lane, laneTitle(now.lane));
            const at = lanes.rowOf.get(now.id);
            const lit = lanes.lit;
            row.className = `row kind-${now.kind} ${laneClass(now.lane, lanes.model.lanes)}${means ? " told" : ""}${hasFailed(now) ? " failed" : ""}` +
                `${lit ? (lit.has(now.id) ? " lit" : " dark") : ""}${now.id === lanes.active ? " active" : ""}`;
            setAttribute(row, "aria-selected", String(now.id === lanes.selected));
            setAttribute(row, "aria-posinset", at + 1);
            setAttribute(row, "aria-setsize", lanes.shown.length);
            setAttribute(row, "aria-label", `${laneTitle(now.lane)}: ${means ? `${means}, ` : ""}${now.text}, at ${moment(now.at)}`);
        };
        return row;
    };
}

export class Lanes {
    constructor(root, app) {
        this.app = app;
        this.model = app.model;
        this.hidden = new Set();
        this.shown = [];
        this.rowOf = new Map();
        this.following = true;
        this.active = null;
        this.selected = null;
        this.lit = null;
        this.aim = null; // where it is to be scrolled to when it is high enough
        this.filtered = false;
        this.seen = 0; // entries that had come when following ended
        this.rail = new Rail();
        this.build(root);
        this.why = new Why(this.aside, this);
        this.make = makeRow(this);

        this.model.addEventListener("entries", () => this.later());
        this.model.addEventListener("hello", () => this.showsChoices());
        this.model.addEventListener("anew", () => {
            this.shows(null);
            this.following = true;
        });
        new ResizeObserver(() => this.measures()).observe(this.scroll);
        // What was just made higher cannot always be scrolled before it has been laid out.
        new ResizeObserver(() => this.grown()).observe(this.space);
        this.measures();
    }

    build(root) {
        this.search = h("input", {type: "search", id: "find", placeholder: "Find a function, a text, a lane   ( / )", "aria-label": "Find in what happened"});
        this.count = h("span", {class: "count", role: "status", id: "found"});
        this.everything = h("input", {type: "checkbox", id: "everything"});
        this.choices = h("div", {class: "lane-choices"});
        this.choice = h("details", {class: "choice-of-lanes"}, h("summary", {}, "Lanes"), this.choices);
        this.follow = button("", () => this.follows(!this.following), {id: "follow", title: "Follow what happens, or pause (f)"});
        this.head = h("div", {class: "lane-head", "aria-hidden": "true"});
        this.rows = h("div", {class: "rows", role: "presentation"});
        this.window = h("div", {class: "window", role: "presentation"}, this.rail.element, this.rows);
        this.space = h("div", {class: "space", role: "presentation"}, this.window);
        this.nothing = h("p", {class: "nothing", id: "nothing"});
        this.scroll = h("div", {class: "scroll", id: "lanes-list", role: "listbox", tabindex: "0", "aria-label": "What happened, oldest first"}, this.space);
        this.aside = h("aside", {class: "why", id: "why", "aria-label": "Why it happened", hidden: true});
        root.append(h("div", {class: "lane-bar"}, h("h2", {}, "What happened"), this.search, this.count,
            h("label", {class: "check", title: "Calls that only ask, listen or free, and the lines of the log"}, this.everything, "every question and log line"),
            this.choice, this.follow),
        h("div", {class: "lane-body"}, h("div", {class: "lane-list"}, this.head, this.scroll, this.nothing), this.aside));

        this.search.addEventListener("input", () => this.filters());
        this.search.addEventListener("keydown", (event) => this.inSearch(event));
        this.everything.addEventListener("change", () => this.filters());
        this.scroll.addEventListener("scroll", () => this.scrolled(), {passive: true});
        this.scroll.addEventListener("keydown", (event) => this.pressed(event));
        this.scroll.addEventListener("click", (event) => {
            const row = event.target.closest(".row");
            if (row) {
                this.explains(Number(row.dataset.id));
            }
        });
        document.addEventListener("click", (event) => {
            if (!this.choice.contains(event.target)) {
                this.choice.open = false;
            }
        });
        this.root = root;
    }

    get laneShown() {
        return this.model.lanes.filter((lane) => !this.hidden.has(lane));
    }

    /** How much of the list one sees: on a narrow screen the reasons cover its lower part. */
    get inSight() {
        const covers = !this.aside.hidden && getComputedStyle(this.aside).position === "fixed";
        const below = covers ? this.scroll.getBoundingClientRect().bottom - this.aside.getBoundingClientRect().top : 0;
        return this.scroll.clientHeight - Math.max(0, below);
    }

    /** Of the rows, and so much more that the last of them can be scrolled out from under what covers it. */
    get total() {
        return this.shown.length * this.height + this.scroll.clientHeight - this.inSight;
    }

    measures() {
        const width = this.scroll.clientWidth;
        const isNarrow = width < kNarrow;
        this.height = isNarrow ? 48 : 27;
        const room = (width - kForTime - kForText) / Math.max(1, this.model.lanes.length);
        this.gap = isNarrow ? kLeastGap : Math.round(Math.max(kLeastGap, Math.min(kMostGap, room)));
        this.root.dataset.width = isNarrow ? "narrow" : "wide";
        this.root.style.setProperty("--row", `${this.height}px`);
        this.lays();
        this.later();
    }

    lays() {
        const lanes = this.laneShown;
        this.rail.sets(lanes, this.model.lanes, this.gap);
        this.root.style.setProperty("--rail", `${this.rail.width}px`);
        this.laid = `${this.model.lanes.join()} ${[...this.hidden].join()}`;
        this.head.replaceChildren(...lanes.map((lane) => {
            const label = h("span", {class: laneClass(lane, this.model.lanes)}, this.gap < kForTitles ? shortTitle(lane) : laneTitle(lane));
            label.style.left = `${this.rail.x(lane)}px`;
            return label;
        }));
    }

    showsChoices() {
        this.choices.replaceChildren(...this.model.lanes.map((lane) => h("label", {class: `check ${laneClass(lane, this.model.lanes)}`},
            h("input", {type: "checkbox", value: lane, checked: !this.hidden.has(lane), onchange: (event) => {
                event.target.checked ? this.hidden.delete(lane) : this.hidden.add(lane);
                this.lays();
                this.filters();
            }}), h("i", {class: "spot"}), laneTitle(lane))));
        this.lays();
    }

    /** Once for each picture that is drawn, however much has come. */
    later() {
        this.pending ??= requestAnimationFrame(() => {
            this.pending = null;
            this.gathers();
        });
    }

    /** What is shown has changed by the viewer's wish; what was explained stays before the eye. */
    filters() {
        this.filtered = true;
        this.later();
    }

    gathers() {
        if (this.laid !== `${this.model.lanes.join()} ${[...this.hidden].join()}`) {
            this.showsChoices();
        }
        const anchor = this.shown[Math.floor(this.scroll.scrollTop / this.height)];
        const offset = this.scroll.scrollTop % this.height;
        const wanted = this.search.value.trim().toLowerCase().split(/\s+/).filter(Boolean);
        const everything = this.everything.checked;
        this.shown = this.model.entries.filter((entry) => !this.hidden.has(entry.lane) && (everything || !isQuiet(entry)) &&
            wanted.every((part) => haystack(entry).includes(part)));
        this.rowOf = new Map(this.shown.map((entry, row) => [entry.id, row]));
        if (this.selected !== null) {
            const entry = this.model.byId.get(this.selected);
            this.lit = entry ? this.model.path(entry) : null;
            this.why.refreshes(entry);
        }
        this.space.style.height = `${this.total}px`;
        const selectedRow = this.filtered ? this.rowOf.get(this.selected) : undefined;
        this.filtered = false;
        if (this.following) {
            this.toEnd();
        } else if (selectedRow !== undefined) {
            this.aims((selectedRow + 0.5) * this.height - this.inSight / 2);
        } else if (this.aim !== null) {
            this.aims(this.aim);
        } else if (anchor && this.rowOf.has(anchor.id)) {
            this.aims(this.rowOf.get(anchor.id) * this.height + offset);
        }
        const all = this.model.entries.length;
        setText(this.count, this.shown.length === all ? plural(all, "entry", "entries") : `${this.shown.length.toLocaleString("en")} of ${plural(all, "entry", "entries")}`);
        this.nothing.hidden = this.shown.length > 0;
        setText(this.nothing, all === 0 ? "Nothing has happened yet." : "Nothing of what happened is like this.");
        this.tellsFollowing();
        this.draws();
    }

    /** The list has another height: to its end, where that is followed. */
    grown() {
        if (this.following) {
            this.toEnd();
        } else if (this.aim !== null) {
            this.aims(this.aim);
        }
        this.draws();
    }

    toEnd() {
        this.aims(this.total);
        this.end = this.scroll.scrollTop;
    }

    /** Scrolls there; if the list is not yet high enough for it, as soon as it is. */
    aims(wanted) {
        const top = Math.max(0, Math.min(wanted, this.total - this.scroll.clientHeight));
        this.scroll.scrollTop = top;
        this.aim = Math.abs(this.scroll.scrollTop - top) > 1 ? top : null;
    }

    draws() {
        const visible = this.scroll.clientHeight;
        const top = Math.max(0, Math.min(this.scroll.scrollTop, this.total - visible));
        const first = Math.max(0, Math.floor(top / this.height) - kBeyond);
        const end = Math.min(this.shown.length, Math.ceil((top + visible) / this.height) + kBeyond);
        const rows = this.shown.slice(first, end);
        this.window.style.transform = `translateY(${first * this.height}px)`;
        keep(this.rows, rows, (entry) => entry.id, this.make);
        this.rail.draws(rows, first, this.height, (entry) => this.nearestCause(entry), this.lit, this.selected);
        const isThere = rows.some((entry) => entry.id === this.active);
        setAttribute(this.scroll, "aria-activedescendant", isThere ? `entry-${this.active}` : null);
    }

    /** The cause, or what caused it, as far up as it takes until one is shown. */
    nearestCause(entry) {
        let hidden = false;
        for (let cause = this.model.cause(entry); cause; cause = this.model.cause(cause)) {
            if (this.rowOf.has(cause.id)) {
                return {entry: cause, row: this.rowOf.get(cause.id), hidden};
            }
            hidden = true;
        }
        return null;
    }

    scrolled() {
        const isAtEnd = this.scroll.scrollTop + this.scroll.clientHeight >= this.scroll.scrollHeight - kNearEnd;
        const isUp = this.scroll.scrollTop < (this.lastTop ?? 0);
        this.lastTop = this.scroll.scrollTop;
        if (this.following && this.scroll.scrollTop !== this.end && !isAtEnd) {
            this.pauses();
        } else if (!this.following && isAtEnd && !isUp && this.selected === null && !this.paused) {
            this.follows(true);
        }
        this.drawing ??= requestAnimationFrame(() => {
            this.drawing = null;
            this.draws();
        });
    }

    pauses() {
        this.following = false;
        this.seen = this.model.entries.length + this.model.dropped;
        this.tellsFollowing();
    }

    follows(on) {
        this.paused = !on;
        if (on) {
            this.following = true;
            this.later();
        } else {
            this.pauses();
        }
        this.tellsFollowing();
    }

    tellsFollowing() {
        const news = this.following ? 0 : Math.max(0, this.model.entries.length + this.model.dropped - this.seen);
        setText(this.follow, this.following ? "Following" : news > 0 ? `Follow (${news.toLocaleString("en")} new)` : "Follow");
        setAttribute(this.follow, "aria-pressed", String(this.following));
    }

    /** Shows why an entry happened and lights up its path; null: nothing. */
    shows(id) {
        this.selected = id;
        const entry = id === null ? null : this.model.byId.get(id) ?? null;
        this.lit = entry ? this.model.path(entry) : null;
        this.root.classList.toggle("explains", entry !== null);
        this.why.shows(entry);
        if (entry) {
            this.active = id;
            if (this.following) {
                this.pauses();
            }
        }
        this.later();
    }

    explains(id) {
        this.shows(id);
        this.into(id);
    }

    /** Takes the eye to an entry, wherever it is; what hides it is lifted. */
    goes(id) {
        const entry = this.model.byId.get(id);
        if (!entry) {
            return;
        }
        if (!this.rowOf.has(id)) {
            this.search.value = "";
            this.everything.checked = true;
            this.hidden.delete(entry.lane);
            this.showsChoices();
            this.gathers();
        }
        this.shows(id);
        this.into(id);
    }

    into(id) {
        const row = this.rowOf.get(id);
        if (row === undefined) {
            return;
        }
        this.active = id;
        const top = row * this.height;
        const height = this.inSight;
        if (top < this.scroll.scrollTop + this.height) {
            this.aims(top - this.height);
        } else if (top + 2 * this.height > this.scroll.scrollTop + height) {
            this.aims(top + 2 * this.height - height);
        }
        if (this.following && row < this.shown.length - 1) {
            this.pauses();
        }
        this.draws();
    }

    moves(to) {
        const row = Math.max(0, Math.min(this.shown.length - 1, to));
        if (this.shown[row]) {
            this.into(this.shown[row].id);
            if (this.selected !== null) {
                this.shows(this.shown[row].id);
            }
        }
    }

    inLane(row, step) {
        const {lane} = this.shown[row];
        for (let at = row + step; at >= 0 && at < this.shown.length; at += step) {
            if (this.shown[at].lane === lane) {
                return at;
            }
        }
        return row;
    }

    pressed(event) {
        if (event.ctrlKey || event.metaKey || event.altKey || this.shown.length === 0) {
            return;
        }
        const known = this.rowOf.get(this.active);
        const row = known ?? this.shown.length;
        const entry = this.shown[known] ?? null;
        const page = Math.max(1, Math.floor(this.scroll.clientHeight / this.height) - 2);
        const steps = {
            ArrowUp: () => this.moves(row - 1),
            ArrowDown: () => this.moves(row + 1),
            PageUp: () => this.moves(row - page),
            PageDown: () => this.moves(row + page),
            Home: () => this.moves(0),
            End: () => this.moves(this.shown.length - 1),
            Enter: () => entry && this.shows(entry.id),
            " ": () => entry && this.shows(entry.id),
            ArrowLeft: () => entry && this.model.cause(entry) && this.goes(entry.cause),
            ArrowRight: () => entry && this.model.effectsOf(entry)[0] && this.goes(this.model.effectsOf(entry)[0].id),
            "[": () => entry && this.moves(this.inLane(known, -1)),
            "]": () => entry && this.moves(this.inLane(known, 1)),
        };
        if (Object.hasOwn(steps, event.key)) {
            event.preventDefault();
            steps[event.key]();
        }
    }

    inSearch(event) {
        if (event.key === "Enter") {
            event.preventDefault();
            this.gathers();
            const row = this.rowOf.get(this.active);
            const next = event.shiftKey ? (row ?? this.shown.length) - 1 : (row ?? -1) + 1;
            if (this.shown.length > 0) {
                this.into(this.shown[(next + this.shown.length) % this.shown.length].id);
            }
        } else if (event.key === "Escape" && this.search.value !== "") {
            event.stopPropagation();
            this.search.value = "";
            this.filters();
        }
    }
}
