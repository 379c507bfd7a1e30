// The panels beside the stage, one at a time.

import {h, keep, rove, setAttribute, setText} from "./dom.js";
import {showDevice} from "./devices.js";
import {showFailures, showFeatures, showSettings} from "./tables.js";
import {showWhyNot} from "./whynot.js";
import {laneClass, laneTitle} from "./words.js";

const kBehaviours = [["answers", "answers"], ["slow", "slow"], ["hang", "hangs"], ["error", "error"], ["absent", "absent"]];

function showSiblings(root, app) {
    const list = h("ul", {class: "siblings"});
    root.append(h("p", {class: "lead"}, "The services beside it on the bus, and how each treats what it is sent."), list);
    app.model.addEventListener("state", () => {
        keep(list, app.model.state.siblings ?? [], (sibling) => sibling.name, (sibling) => {
            const choices = kBehaviours.map(([name, title]) => {
                const input = h("input", {type: "radio", class: "live", name: `sibling-${sibling.name}`, value: name,
                    onchange: () => app.say(`sibling ${sibling.name} ${name}`)});
                return {input, element: h("label", {class: "choice"}, input, h("span", {}, title)), name};
            });
            const element = h("li", {class: laneClass(sibling.name), "data-sibling": sibling.name},
                h("span", {class: "sibling-name", id: `sibling-${sibling.name}`}, laneTitle(sibling.name)),
                h("div", {class: "choices", role: "radiogroup", "aria-labelledby": `sibling-${sibling.name}`}, choices.map((choice) => choice.element)));
            element.update = (now) => {
                const behaviour = String(now.behaviour ?? "answers");
                for (const {input, name} of choices) {
                    input.checked = behaviour.split(" ")[0].replace(/^hangs$/, "hang") === name;
                }
                setAttribute(element, "data-behaviour", behaviour.split(" ")[0]);
            };
            return element;
        });
        app.mayAct();
    });
}

const kPanels = [
    ["device", "Thing", showDevice],
    ["siblings", "Siblings", showSiblings],
    ["failures", "Failures", showFailures],
    ["settings", "Settings", showSettings],
    ["features", "Features", showFeatures],
    ["whynot", "Why not", showWhyNot],
];

export class Panels {
    constructor(root, app) {
        this.tabs = new Map();
        this.panels = new Map();
        const list = h("div", {class: "tabs", role: "tablist", "aria-label": "What can be changed"});
        root.append(list);
        for (const [name, title, show] of kPanels) {
            const badge = h("span", {class: "badge", hidden: true});
            const tab = h("button", {type: "button", role: "tab", id: `tab-${name}`, "aria-controls": `panel-${name}`, tabindex: "-1",
                onclick: () => this.opens(name), onfocus: () => this.opens(name)}, h("span", {}, title), badge);
            tab.badge = badge;
            const panel = h("div", {role: "tabpanel", id: `panel-${name}`, "aria-labelledby": `tab-${name}`, class: "panel", hidden: true});
            this.tabs.set(name, tab);
            this.panels.set(name, panel);
            list.append(tab);
            root.append(panel);
            show(panel, app);
        }
        rove(list, "[role=tab]");
        this.opens("device");
        app.addEventListener("choose", (event) => event.detail && this.opens("device"));
        app.model.addEventListener("state", () => this.counts(app.model.state));
    }

    opens(name) {
        for (const [each, tab] of this.tabs) {
            setAttribute(tab, "aria-selected", String(each === name));
            setAttribute(tab, "tabindex", each === name ? "0" : "-1");
            this.panels.get(each).hidden = each !== name;
        }
    }

    focuses(name) {
        this.opens(name);
        this.tabs.get(name).focus();
    }

    get names() {
        return [...this.tabs.keys()];
    }

    /** What is not as usual is seen without opening its panel. */
    counts(state) {
        const unusual = (state.siblings ?? []).filter((sibling) => !/^answers/.test(String(sibling.behaviour ?? "answers"))).length;
        this.counted("siblings", unusual);
        this.counted("failures", (state.failures ?? []).length);
    }

    counted(name, count) {
        const {badge} = this.tabs.get(name);
        badge.hidden = count === 0;
        setText(badge, count > 0 ? String(count) : "");
    }
}
