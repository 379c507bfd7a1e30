// How things are called for people.

const kTitles = {
    set: "set",
    service: "service",
    connectionmanager: "connection manager",
    connectionshift: "connection shift",
    irmonitor: "touch-IR monitor",
    updatemanager: "update manager",
    hfpAgent: "hands-free agent",
    keyrouter: "key router",
    settings: "settings",
    log: "log",
    timers: "timers",
};

/** For where there is little room. */
const kShort = {connectionmanager: "manager", connectionshift: "shift", irmonitor: "touch-IR", updatemanager: "update", hfpAgent: "hands-free",
    keyrouter: "keys"};

const kColours = Object.keys(kTitles);

export function laneTitle(lane) {
    return kTitles[lane] ?? lane;
}

export function shortTitle(lane) {
    return kShort[lane] ?? laneTitle(lane);
}

/** A class of the style sheet; lanes that nobody here knows share what the known ones have. */
export function laneClass(lane, lanes = []) {
    const known = kColours.indexOf(lane);
    return `lane-${known >= 0 ? known : Math.max(0, lanes.indexOf(lane)) % kColours.length}`;
}

const kSecond = 1_000_000;

function pad(number, digits = 2) {
    return String(number).padStart(digits, "0");
}

/** A moment of the virtual clock: "2d 03:00:01.034"; without days on the first day. */
export function moment(at) {
    const ms = Math.floor((at ?? 0) / 1000);
    const seconds = Math.floor(ms / 1000);
    const days = Math.floor(seconds / 86400);
    const day = `${pad(Math.floor(seconds / 3600) % 24)}:${pad(Math.floor(seconds / 60) % 60)}:${pad(seconds % 60)}.${pad(ms % 1000, 3)}`;
    return days > 0 ? `${days}d ${day}` : day;
}

/** A time span for people: "400 ms", "9.5 s", "3 min", "1 h 20 min". */
export function span(us) {
    if (us < kSecond) {
        return `${Math.round(us / 1000)} ms`;
    }
    const seconds = us / kSecond;
    if (seconds < 60) {
        return `${Math.round(seconds * 10) / 10} s`;
    }
    const minutes = Math.round(seconds / 60);
    if (minutes < 60) {
        return `${minutes} min`;
    }
    const rest = minutes % 60;
    return `${Math.floor(minutes / 60)} h${rest > 0 ? ` ${rest} min` : ""}`;
}

export function hasFailed(entry) {
    return (entry.kind === "call" && /^-\d/.test(entry.result ?? "")) || (entry.kind === "life" && /crash/i.test(entry.text)) ||
        (entry.kind === "log" && entry.priority === "E");
}

/** What it means, without what its lane says already; null where that is not more than its text. */
export function meaning(entry) {
    const words = entry.kind === "bus" ? entry.words?.replace(/^→ [^:]*: /, "") : entry.words;
    return words && words !== entry.text ? words : null;
}

/** What kind of thing it is, as the beginning of a sentence that ends with the entry. */
export function whatItIs(entry) {
    const lane = laneTitle(entry.lane);
    switch (entry.kind) {
    case "line": return "You gave the line";
    case "life": return "The set's life";
    case "note": return "This happened to the set";
    case "event": return "The set told the service";
    case "call": return entry.subject === "setting" ? "The service wrote the setting" : meaning(entry) ? `The service told the ${entry.subject ?? "platform"}` : "The service called the platform";
    case "log": return "The service wrote into its log";
    case "kernel": return "The service wrote into the kernel's log";
    case "kpi": return "The service reported how it is used";
    case "timer": return /remove/.test(entry.text) ? "The service removed a timer" : "The service set a timer";
    case "fired": return "A timer of the service fired";
    case "sleep": return "The service slept";
    case "bus": return `The service sent the ${lane}`;
    case "reply": return `The ${lane} answered the service`;
    case "signal": return `The ${lane} sent a signal`;
    case "setting": return "The service was told of a setting";
    default: return "This happened";
    }
}

/** How an entry follows from the one before it in the chain. */
export function because(cause) {
    switch (cause.kind) {
    case "line": return "so";
    case "event":
    case "signal":
    case "setting":
    case "reply": return "while the service handled that,";
    case "fired": return "that made it so that";
    case "call": return "within that call,";
    default: return "therefore";
    }
}

export function plural(count, one, many = `${one}s`) {
    return `${count.toLocaleString("en")} ${count === 1 ? one : many}`;
}
