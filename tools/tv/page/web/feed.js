// The connection to the program: what it tells comes as objects, what is done here goes as command lines.

const kFirstPause = 500;
const kLongestPause = 8000;

/** Events: "object" (detail: one object of the feed), "batch" (after the objects of one message), "open", "lost" (detail: ms until the next try). */
export class Feed extends EventTarget {
    constructor() {
        super();
        this.pause = kFirstPause;
        this.connect();
    }

    get isOpen() {
        return this.socket.readyState === WebSocket.OPEN;
    }

    /** Whoever is impatient gets no second connection, which would tell everything twice. */
    connect() {
        if (this.socket?.readyState === WebSocket.CONNECTING) {
            return;
        }
        clearTimeout(this.timer);
        this.socket = new WebSocket(`ws://${location.host}/feed`);
        this.socket.onopen = () => {
            this.pause = kFirstPause;
            this.dispatchEvent(new Event("open"));
        };
        this.socket.onmessage = (message) => this.hears(message.data);
        this.socket.onclose = () => this.wait();
    }

    hears(text) {
        for (const line of text.split("\n")) {
            if (line === "") {
                continue;
            }
            let object = null;
            try {
                object = JSON.parse(line);
            } catch {
                object = {error: "The program said something that this page cannot read."};
            }
            this.dispatchEvent(new CustomEvent("object", {detail: object}));
        }
        this.dispatchEvent(new Event("batch"));
    }

    wait() {
        const pause = this.pause;
        this.pause = Math.min(this.pause * 2, kLongestPause);
        this.timer = setTimeout(() => this.connect(), pause);
        this.dispatchEvent(new CustomEvent("lost", {detail: pause}));
    }

    /** @returns {boolean} false when there is nobody who could hear it */
    send(line) {
        if (!this.isOpen) {
            return false;
        }
        this.socket.send(JSON.stringify({line}));
        return true;
    }
}
