// What the keys do, and what one is looking at.

import {button, h, put} from "./dom.js";

const kKeys = [
    ["Everywhere", [
        ["?", "this help"],
        [":", "the command line (Tab completes, ↑ and ↓ go through what was said)"],
        ["/", "find in what happened"],
        ["1 … 6", "thing, siblings, failures, settings, features, why not"],
        ["t", "time passes to the next timer"],
        ["h", "an hour passes"],
        ["f", "follow what happens, or pause"],
        ["Esc", "back: closes what is open, ends the light on a path"],
    ]],
    ["On a thing", [
        ["arrows", "to the next thing"],
        ["Enter", "what can be done with it"],
        ["c", "connect it, or disconnect it"],
        ["l", "lose its link"],
    ]],
    ["In what happened", [
        ["↑ ↓", "to what came before, after"],
        ["Enter", "why it happened, and what came of it"],
        ["←", "to its cause"],
        ["→", "to the first thing that came of it"],
        ["[ ]", "before, after in the same lane"],
        ["Home End", "to the first, the last"],
    ]],
];

export function showHelp(dialog, opener) {
    put(dialog, h("h2", {id: "help-title"}, "Television on the desk"),
        h("p", {}, "The service that is shipped, on a set that is played. Carry a thing to the set and it connects; carry it away and it " +
            "disconnects. Time stands still until you let it pass. Below, each row is something that happened, in the lane of " +
            "whom it happened to, with an arrow from what caused it."),
        kKeys.map(([title, keys]) => h("section", {}, h("h3", {}, title),
            h("dl", {}, keys.map(([key, text]) => [h("dt", {}, h("kbd", {}, key)), h("dd", {}, text)])))),
        h("form", {method: "dialog"}, button("Close", () => dialog.close(), {class: "primary"})));
    const open = () => dialog.open || dialog.showModal();
    opener.addEventListener("click", open);
    dialog.addEventListener("click", (event) => event.target === dialog && dialog.close());
    return open;
}
