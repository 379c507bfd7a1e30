// Why something did not happen: the outcomes to ask about, and what the program answers.

import {button, h, put} from "./dom.js";

/** A line of an answer; a number in brackets leads to its entry. */
function line(text, lanes) {
    const indent = text.length - text.trimStart().length;
    const pieces = text.trim().split(/(\[\d+\])/).filter(Boolean);
    const isVerdict = /^(this did not hold|not tried|it came|It was tried)|(did happen|did not happen)/.test(text.trim());
    return h("li", {class: `depth-${Math.min(2, Math.ceil(indent / 3))}${isVerdict ? " verdict" : ""}`}, pieces.map((piece) => {
        const id = /^\[(\d+)\]$/.exec(piece)?.[1];
        const isKnown = id && lanes.model.byId.has(Number(id));
        return isKnown ? button(id, () => lanes.goes(Number(id)), {class: "to-entry", title: "Show it in what happened"}) : piece;
    }));
}

export function showWhyNot(root, app) {
    const list = h("div", {class: "outcomes", role: "group", "aria-label": "What did not happen"});
    const answer = h("div", {class: "answer", role: "status"});
    root.append(h("p", {class: "lead"}, "Did something not happen? The first condition that did not hold is named, and who had set it so."),
        list, answer);
    app.model.addEventListener("hello", () => {
        const command = app.model.hello.commands.find((each) => each.syntax.startsWith("why not "));
        put(list, (command?.choices?.OUTCOME ?? []).map((name) =>
            button(name, () => app.say(`why not ${name}`), {class: "small live", "data-outcome": name})));
        put(answer);
        app.mayAct();
    });
    app.model.addEventListener("answer", (event) => {
        const {question, text} = event.detail;
        put(answer, h("h4", {}, question), h("ol", {}, text.split("\n").filter(Boolean).map((each) => line(each, app.lanes))));
        root.scrollTop = 0;
    });
}
