// The virtual clock: what time it is on the set, and time that passes at once.

import {button, h, setText} from "./dom.js";
import {moment, span} from "./words.js";

const kSteps = [
    ["Next timer", "next timer", "To when the next timer of the service is due (t)"],
    ["+1 min", "wait 1min", "A minute passes"],
    ["+1 h", "wait 1h", "An hour passes (h)"],
    ["A night", "wait 8h", "Eight hours pass"],
];

export function showClock(root, app) {
    const time = h("time", {class: "clock-time", id: "clock-time"});
    const next = h("span", {class: "clock-next", id: "clock-next"});
    const steps = kSteps.map(([label, line, title]) =>
        button(label, () => app.say(line), {title, "data-line": line, class: "step live"}));
    root.append(h("div", {class: "clock-face"}, time, next), h("div", {class: "clock-steps"}, steps));

    app.model.addEventListener("state", () => {
        const {at, timers = [], running} = app.model.state;
        setText(time, moment(at));
        const due = [...timers].sort((a, b) => a.due - b.due)[0];
        setText(next, due ? `timer ${due.number} in ${span(Math.max(0, due.due - at))}` : running ? "no timer" : "unplugged");
        next.title = timers.map((timer) => `timer ${timer.number}, ${timer.interval}: due at ${moment(timer.due)}`).join("\n");
        steps[0].toggleAttribute("data-idle", !due);
    });
}
