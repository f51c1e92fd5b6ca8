// A browser without a window, steered through its debugging pipe. Nothing here waits for a time: each step ends with
// the browser's answer or event, and fails when the browser ends.
import { spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

export class Browser {
    #process;
    #profile = mkdtempSync(join(tmpdir(), 'vellum-browser-'));
    #next = 1;
    #calls = new Map();
    #listeners = new Set();
    #rest = '';

    constructor(program) {
        const options = ['--headless=new', '--remote-debugging-pipe', '--no-first-run', '--disable-gpu',
            '--disable-background-networking', '--disable-component-update', '--disable-dev-shm-usage', '--disable-sync',
            `--user-data-dir=${this.#profile}`];
        if (process.getuid() === 0) {
            options.push('--no-sandbox');  // the sandbox refuses to be started by root
        }
        this.#process = spawn(program, options, { stdio: ['ignore', 'ignore', 'ignore', 'pipe', 'pipe'] });
        this.#process.stdio[4].setEncoding('utf8').on('data', (text) => this.#take(text));
        this.#process.on('error', (error) => this.#fail(error));
        this.#process.on('exit', (code) => this.#fail(new Error(`the browser ended with ${code}`)));
        // What is written to a browser that has ended is answered by its end.
        this.#process.stdio[3].on('error', () => {});
    }

    send(method, params = {}, sessionId = undefined) {
        const id = this.#next++;
        return new Promise((resolve, reject) => {
            this.#calls.set(id, { resolve, reject, method });
            this.#process.stdio[3].write(`${JSON.stringify({ id, method, params, sessionId })}\0`);
        });
    }

    listen(listener) {
        this.#listeners.add(listener);
    }

    // Opens an empty page.
    async page() {
        const { targetId } = await this.send('Target.createTarget', { url: 'about:blank' });
        const { sessionId } = await this.send('Target.attachToTarget', { targetId, flatten: true });
        const page = new Page(this, sessionId, targetId);
        for (const domain of ['Page', 'Runtime', 'Log', 'Network']) {
            await page.send(`${domain}.enable`);
        }
        return page;
    }

    async close() {
        const ended = new Promise((resolve) => this.#process.once('close', resolve));
        this.#calls.clear();
        this.#process.kill();
        await ended;
        rmSync(this.#profile, { recursive: true, force: true, maxRetries: 5 });
    }

    // Messages end in a zero character and may come in any pieces.
    #take(text) {
        const parts = (this.#rest + text).split('\0');
        this.#rest = parts.pop();
        for (const part of parts) {
            this.#receive(JSON.parse(part));
        }
    }

    #receive(message) {
        const call = this.#calls.get(message.id);
        if (call === undefined) {
            for (const listener of this.#listeners) {
                listener(message);
            }
            return;
        }
        this.#calls.delete(message.id);
        if (message.error) {
            call.reject(new Error(`${call.method}: ${message.error.message}`));
        } else {
            call.resolve(message.result);
        }
    }

    #fail(error) {
        for (const call of this.#calls.values()) {
            call.reject(error);
        }
        this.#calls.clear();
    }
}

class Page {
    complaints = [];
    requests = [];
    #browser;
    #session;
    #target;
    #loaded = () => {};

    constructor(browser, session, target) {
        this.#browser = browser;
        this.#session = session;
        this.#target = target;
        browser.listen((message) => message.sessionId === session && this.#hear(message));
    }

    send(method, params) {
        return this.#browser.send(method, params, this.#session);
    }

    async open(url) {
        const loaded = new Promise((resolve) => { this.#loaded = resolve; });
        const { errorText } = await this.send('Page.navigate', { url });
        if (errorText) {
            throw new Error(`${url}: ${errorText}`);
        }
        await loaded;
    }

    async evaluate(expression) {
        const { result, exceptionDetails } = await this.send('Runtime.evaluate',
            { expression, awaitPromise: true, returnByValue: true });
        if (exceptionDetails) {
            throw new Error(exceptionDetails.exception?.description ?? exceptionDetails.text);
        }
        return result.value;
    }

    async show({ width, height = 900, scheme = 'light', media = '' }) {
        await this.send('Emulation.setDeviceMetricsOverride',
            { width, height, deviceScaleFactor: 1, mobile: width < 600 });
        await this.send('Emulation.setEmulatedMedia',
            { media, features: [{ name: 'prefers-color-scheme', value: scheme }] });
    }

    async press(key) {
        for (const type of ['keyDown', 'keyUp']) {
            await this.send('Input.dispatchKeyEvent', { type, key, code: key, windowsVirtualKeyCode: 9 });
        }
    }

    async picture(clip = undefined) {
        const { data } = await this.send('Page.captureScreenshot',
            { format: 'png', captureBeyondViewport: true, ...(clip && { clip: { ...clip, scale: 1 } }) });
        return Buffer.from(data, 'base64');
    }

    close() {
        return this.#browser.send('Target.closeTarget', { targetId: this.#target });
    }

    #hear({ method, params }) {
        if (method === 'Page.loadEventFired') {
            this.#loaded();
        } else if (method === 'Log.entryAdded') {
            this.complaints.push(`${params.entry.level}: ${params.entry.text}`);
        } else if (method === 'Runtime.exceptionThrown') {
            this.complaints.push(params.exceptionDetails.text);
        } else if (method === 'Runtime.consoleAPICalled') {
            this.complaints.push(`console.${params.type}`);
        } else if (method === 'Network.requestWillBeSent') {
            this.requests.push(params.request.url);
        }
    }
}
