// Elements without a markup language: text from outside stays text.

const kSvg = "http://www.w3.org/2000/svg";

function fill(element, properties, children) {
    for (const [name, value] of Object.entries(properties ?? {})) {
        if (name.startsWith("on")) {
            element.addEventListener(name.slice(2), value);
        } else if (value === true) {
            element.setAttribute(name, "");
        } else if (value !== false && value !== null && value !== undefined) {
            element.setAttribute(name, value);
        }
    }
    element.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false));
    return element;
}

/** An element of HTML: h("button", {type: "button", onclick: f}, "Text", child). */
export function h(tag, properties, ...children) {
    return fill(document.createElement(tag), properties, children);
}

/** The same of SVG. */
export function s(tag, properties, ...children) {
    return fill(document.createElementNS(kSvg, tag), properties, children);
}

/** Puts these, and nothing else, into an element; of lists what is in them, and nothing for what is null. */
export function put(element, ...children) {
    element.replaceChildren();
    return fill(element, {}, children);
}

/** A drawing of index.html. */
export function drawing(name, className = "drawing") {
    return s("svg", {class: className, "aria-hidden": "true"}, s("use", {href: `#i-${name}`}));
}

export function button(label, onclick, properties = {}) {
    return h("button", {type: "button", onclick, ...properties}, label);
}

/** Sets what differs: a text that stays is not announced again, and a selection in it stays. */
export function setText(element, text) {
    if (element.textContent !== text) {
        element.textContent = text;
    }
}

export function setAttribute(element, name, value) {
    if (value === null || value === false) {
        element.removeAttribute(name);
    } else if (element.getAttribute(name) !== String(value)) {
        element.setAttribute(name, value);
    }
}

/**
 * Keeps one child for each item, by key, in the items' order. Children that stay are not touched, so whoever types in
 * one of them types on.
 * @param make (item) => element; it is given a function element.update(item)
 */
export function keep(parent, items, keyOf, make) {
    const before = new Map([...parent.children].filter((child) => child.key !== undefined).map((child) => [child.key, child]));
    let at = parent.firstElementChild;
    for (const item of items) {
        const key = keyOf(item);
        let child = before.get(key);
        before.delete(key);
        if (!child) {
            child = make(item);
            child.key = key;
        }
        child.update?.(item);
        if (child === at) {
            at = at.nextElementSibling;
        } else {
            parent.insertBefore(child, at);
        }
    }
    for (const child of before.values()) {
        child.remove();
    }
}

/** One stop for the Tab key in a group; the arrows go from one to the next. */
export function rove(group, selector) {
    const all = () => [...group.querySelectorAll(selector)].filter((element) => !element.disabled);
    const stop = (chosen) => all().forEach((element) => element.setAttribute("tabindex", element === chosen ? "0" : "-1"));
    group.addEventListener("focusin", (event) => event.target.matches(selector) && stop(event.target));
    group.addEventListener("keydown", (event) => {
        const elements = all();
        const at = elements.indexOf(event.target);
        const steps = {ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1};
        if (at < 0 || event.ctrlKey || event.metaKey || event.altKey) {
            return;
        }
        let next = null;
        if (event.key in steps) {
            next = elements[(at + steps[event.key] + elements.length) % elements.length];
        } else if (event.key === "Home") {
            next = elements[0];
        } else if (event.key === "End") {
            next = elements.at(-1);
        }
        if (next) {
            event.preventDefault();
            next.focus();
        }
    });
    return {stop: () => stop(group.querySelector(`${selector}[tabindex="0"]`) ?? all()[0])};
}
