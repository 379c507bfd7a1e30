// All that the program has told: entries with their causes, the state of the set, and what can be said to it.

export const kMostEntries = 20000;

const kNoHello = {commands: [], functions: [], lanes: []};
const kLanes = ["set", "service", "connectionmanager", "connectionshift", "irmonitor", "updatemanager", "hfpAgent",
    "keyrouter", "settings", "log", "timers"];

/** Events: "hello", "state", "entries" (something came or went), "done" (detail), "error" (detail: text), "answer" (detail), "anew". */
export class Model extends EventTarget {
    constructor() {
        super();
        this.clear();
    }

    clear() {
        this.hello = kNoHello;
        this.lanes = kLanes;
        this.state = {};
        this.entries = []; // by id, rising
        this.byId = new Map();
        this.effects = new Map(); // ids by the id of their cause
        this.dropped = 0;
    }

    /** Takes what one message brought; who looks at it is told once. */
    takes(objects) {
        const changed = new Set();
        for (const object of objects) {
            this.take(object, changed);
        }
        for (const name of changed) {
            this.dispatchEvent(new Event(name));
        }
    }

    take(object, changed) {
        if (object.hello) {
            this.clear();
            this.hello = {...kNoHello, ...object.hello};
            this.lanes = this.hello.lanes.length > 0 ? [...this.hello.lanes] : [...kLanes];
            changed.add("hello").add("entries").add("anew");
        } else if (object.state) {
            this.state = object.state;
            changed.add("state");
        } else if (object.done) {
            this.dispatchEvent(new CustomEvent("done", {detail: object.done}));
        } else if (object.answer) {
            this.dispatchEvent(new CustomEvent("answer", {detail: object.answer}));
        } else if (object.error) {
            this.dispatchEvent(new CustomEvent("error", {detail: object.error}));
        } else if (object.id) {
            this.add(object);
            changed.add("entries");
        }
    }

    /** What contains others is told when it ends, but stands where it began. */
    add(entry) {
        if (this.byId.has(entry.id)) {
            return;
        }
        let at = this.entries.length;
        while (at > 0 && this.entries[at - 1].id > entry.id) {
            --at;
        }
        this.entries.splice(at, 0, entry);
        this.byId.set(entry.id, entry);
        if (!this.lanes.includes(entry.lane)) {
            this.lanes.push(entry.lane);
        }
        if (entry.cause) {
            const others = this.effects.get(entry.cause);
            others ? others.push(entry.id) : this.effects.set(entry.cause, [entry.id]);
        }
        if (this.entries.length > kMostEntries + 500) {
            this.forget(this.entries.length - kMostEntries);
        }
    }

    forget(count) {
        for (const entry of this.entries.splice(0, count)) {
            this.byId.delete(entry.id);
            this.effects.delete(entry.id);
        }
        this.dropped += count;
    }

    cause(entry) {
        return this.byId.get(entry.cause) ?? null;
    }

    effectsOf(entry) {
        return (this.effects.get(entry.id) ?? []).map((id) => this.byId.get(id)).filter(Boolean).sort((a, b) => a.id - b.id);
    }

    /** What the service only asked for while this was handled, before `next`. */
    askedBefore(entry, next) {
        return this.effectsOf(entry).filter((each) => each.query && each.id < next.id);
    }

    /** From what it began with to the entry itself. */
    chain(entry) {
        const chain = [];
        for (let at = entry; at && !chain.includes(at); at = this.cause(at)) {
            chain.unshift(at);
        }
        return chain;
    }

    /** The ids of an entry, all that led to it and all that came of it. */
    path(entry, most = 5000) {
        const path = new Set(this.chain(entry).map((each) => each.id));
        const open = [entry];
        while (open.length > 0 && path.size < most) {
            for (const effect of this.effectsOf(open.pop())) {
                if (!path.has(effect.id)) {
                    path.add(effect.id);
                    open.push(effect);
                }
            }
        }
        return path;
    }
}
