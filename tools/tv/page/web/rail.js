// The lanes beside the rows: a line for each lane, a dot for each entry, an arrow for each cause.

import {s} from "./dom.js";
import {hasFailed, laneClass} from "./words.js";

const kCorner = 7; // pixels
const kBow = 9; // how far an arrow within a lane swings out
const kBeforeDot = 7; // where an arrow ends
const kOutside = -30; // where what comes from above the window begins
const kEdge = 14;

/** Reuses its children from one drawing to the next. */
class Pool {
    constructor(parent, tag) {
        this.parent = parent;
        this.tag = tag;
        this.used = 0;
    }

    begin() {
        this.used = 0;
    }

    next(attributes) {
        let element = this.parent.children[this.used++];
        if (!element) {
            element = s(this.tag, {});
            this.parent.append(element);
        }
        for (const [name, value] of Object.entries(attributes)) {
            if (element.getAttribute(name) !== String(value)) {
                element.setAttribute(name, value);
            }
        }
    }

    end() {
        while (this.parent.children.length > this.used) {
            this.parent.lastChild.remove();
        }
    }
}

function arrow(from, to) {
    const head = `m-3.5-4.5l3.5 4.5l3.5-4.5`;
    if (from.x !== to.x) {
        const side = Math.sign(to.x - from.x);
        if (from.y < kOutside) {
            return `M${to.x} ${kOutside}V${to.y - kBeforeDot}${head}`;
        }
        return `M${from.x} ${from.y}H${to.x - side * kCorner}q${side * kCorner} 0 ${side * kCorner} ${kCorner}V${to.y - kBeforeDot}${head}`;
    }
    if (to.row === from.row + 1) {
        return `M${from.x} ${from.y}V${to.y - kBeforeDot}${head}`;
    }
    const begin = from.y < kOutside ? `M${from.x + kBow} ${kOutside}` : `M${from.x} ${from.y}q${kBow} 0 ${kBow} ${kBow}`;
    return `${begin}V${to.y - kBow}q0 ${kBow}-${kBow - 5} ${kBow}m3.5-4.5l-4.5 4.5l4.5 4`;
}

export class Rail {
    constructor() {
        this.tracks = s("g", {class: "tracks"});
        this.arrows = s("g", {class: "arrows"});
        this.dots = s("g", {class: "dots"});
        this.element = s("svg", {class: "rail", "aria-hidden": "true"}, this.tracks, this.arrows, this.dots);
        this.pools = [new Pool(this.tracks, "path"), new Pool(this.arrows, "path"), new Pool(this.dots, "circle")];
        this.gap = 0;
        this.lanes = [];
    }

    /** @param gap pixels from one lane to the next */
    sets(lanes, all, gap) {
        this.lanes = lanes;
        this.all = all;
        this.gap = gap;
        this.edge = Math.max(kEdge, gap / 2);
        this.width = Math.ceil(this.edge * 2 + gap * Math.max(0, lanes.length - 1));
    }

    x(lane) {
        return this.edge + this.gap * Math.max(0, this.lanes.indexOf(lane));
    }

    /**
     * @param rows entries of the window, the first of them in row `first`
     * @param causeOf (entry) => {entry, row, hidden} or null
     * @param lit ids on the path that is lit, or null
     */
    draws(rows, first, height, causeOf, lit, selected) {
        this.element.setAttribute("width", this.width);
        this.element.setAttribute("height", rows.length * height);
        const [tracks, arrows, dots] = this.pools;
        this.pools.forEach((pool) => pool.begin());
        for (const lane of this.lanes) {
            tracks.next({class: `track ${laneClass(lane, this.all)}`, d: `M${this.x(lane)} 0V${rows.length * height}`});
        }
        const at = (entry, row) => ({x: this.x(entry.lane), y: (row - first) * height + height / 2, row});
        rows.forEach((entry, index) => {
            const cause = causeOf(entry);
            if (cause) {
                const isLit = lit?.has(entry.id) && lit.has(cause.entry.id);
                arrows.next({
                    class: `arrow ${laneClass(entry.lane, this.all)}${cause.hidden ? " skips" : ""}${lit ? (isLit ? " lit" : " dark") : ""}`,
                    d: arrow(at(cause.entry, cause.row), at(entry, first + index)),
                });
            }
            const {x, y} = at(entry, first + index);
            dots.next({
                class: `dot kind-${entry.kind} ${laneClass(entry.lane, this.all)}${hasFailed(entry) ? " failed" : ""}${lit && !lit.has(entry.id) ? " dark" : ""}`,
                cx: x, cy: y, r: entry.id === selected ? 7 : entry.kind === "log" ? 3.2 : 4.6,
            });
        });
        this.pools.forEach((pool) => pool.end());
    }
}
