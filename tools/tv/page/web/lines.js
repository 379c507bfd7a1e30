// Command lines, as the prompt of the program takes them.

function isPlain(text) {
    return text !== "" && !text.startsWith("#") && !/[\s"\\\x00-\x1f\x7f]/.test(text);
}

/** A text in quotes: it is a text whatever it looks like. */
export function quoted(text) {
    const escapes = {'"': '\\"', "\\": "\\\\", "\n": "\\n", "\t": "\\t"};
    const body = text.replace(/["\\\n\t]/g, (character) => escapes[character])
        .replace(/[\x00-\x1f\x7f]/g, (character) => `\\x${character.charCodeAt(0).toString(16).padStart(2, "0")}`);
    return `"${body}"`;
}

/** A text as one word. */
export function word(text) {
    return isPlain(text) ? text : quoted(text);
}

/**
 * A setting's value as its type wants it. What is typed for a number or a boolean is passed on as it is, so that the
 * program says what is wrong with it.
 */
export function settingValue(type, value) {
    return /^(str|string|text)/.test(type ?? "") ? quoted(value) : word(value);
}

/** One alternative of a syntax a word: [["remote", "wheel"], ["battery"], ["adc"], ["LEVEL"]]. */
function elements(syntax) {
    return syntax.split(/\s+/).filter(Boolean).map((part) => part.replace(/^\[|\]$/g, "").replace(/\.\.\.$/, "").split("|"));
}

function isPlaceholder(text) {
    return /^[A-Z][A-Z_]*$/.test(text);
}

/** The values that a placeholder can have, as far as they are known. */
function values(name, command, hello, state) {
    const given = command.choices?.[name] ?? hello.choices?.[name];
    if (Array.isArray(given) && given.length > 0) {
        return given;
    }
    switch (name) {
    case "FUNCTION": return hello.functions ?? [];
    case "SETTING":
    case "KEY": return (state.settings ?? []).map((setting) => setting.key);
    case "FEATURE": return (state.features ?? []).map((feature) => feature.name);
    case "SIBLING": return (state.siblings ?? []).map((sibling) => sibling.name);
    default: return [];
    }
}

/**
 * What could stand in place of the word that a text ends with.
 * @returns {{text: string, hint: string}[]} whole lines, as far as they go, and what they do
 */
export function completions(text, hello, state) {
    const words = text.trimStart().split(/\s+/);
    const last = words.pop() ?? "";
    const found = new Map();
    for (const command of hello.commands ?? []) {
        const parts = elements(command.syntax);
        if (words.length >= parts.length) {
            continue;
        }
        const fits = words.every((each, at) => parts[at].includes(each) || parts[at].some(isPlaceholder));
        if (!fits) {
            continue;
        }
        const end = words.length + 1 === parts.length;
        for (const choice of parts[words.length]) {
            for (const value of isPlaceholder(choice) ? values(choice, command, hello, state) : [choice]) {
                const candidate = word(String(value));
                if (candidate.toLowerCase().startsWith(last.toLowerCase()) && !found.has(candidate)) {
                    found.set(candidate, {text: [...words, candidate].join(" ") + (end ? "" : " "), hint: command.help ?? "",
                        syntax: command.syntax});
                }
            }
        }
    }
    return [...found.values()];
}

/** The syntax that a text fits so far, and what it does; for who types arguments. */
export function hintFor(text, hello) {
    const words = text.trim().split(/\s+/);
    for (const command of hello.commands ?? []) {
        const parts = elements(command.syntax);
        const fits = words.every((each, at) => {
            const part = parts[Math.min(at, parts.length - 1)];
            return part.some(isPlaceholder) || (at < parts.length && part.includes(each));
        });
        if (text.trim() !== "" && fits) {
            return command;
        }
    }
    return null;
}
