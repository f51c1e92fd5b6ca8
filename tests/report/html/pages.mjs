// pages.mjs BIN AXE [--pictures DIR | --picture FILE]: the pages of forged devices in a real browser. BIN holds the
// programs, AXE is the text of axe-core. With --pictures a picture of each page is left in DIR for a person to look at;
// with --picture nothing is checked, and FILE becomes the picture that the documents show.
import { execFileSync, spawnSync } from 'node:child_process';
import { mkdtempSync, mkdirSync, readFileSync, rmSync, statSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { Browser } from './browser.mjs';

const [programs, axePath, mode, target] = process.argv.slice(2);
const bin = resolve(programs);
const axe = readFileSync(axePath, 'utf8');
const work = mkdtempSync(join(tmpdir(), 'vellum-pages-'));
const widths = [360, 1400];
const paperWidth = 800;
const mostBytes = 1024 * 1024;

// Devices -----------------------------------------------------------------------------------------------------------

// Puts a text of the same length in the place of each that is there, so that no size and no offset changes.
function exchange(file, from, to, encoding = 'latin1') {
    const bytes = readFileSync(file);
    const text = bytes.toString('latin1');
    const old = Buffer.from(from, encoding).toString('latin1');
    const other = Buffer.alloc(old.length, Buffer.from('.', encoding));
    Buffer.from(to, encoding === 'latin1' ? 'utf8' : encoding).copy(other);
    if (!text.includes(old)) {
        throw new Error(`${file} has no "${from}"`);
    }
    writeFileSync(file, Buffer.from(text.replaceAll(old, () => other.toString('latin1')), 'latin1'));
}

// What the page has to show as text: controls and bidirectional marks as "?".
const hostileTexts = ['<script>x=1</scr', '"\'><b>&', '?<u>&gt;', '<img src=x onerror="document.title=1">',
    '<script>alert(1)</', '<svg onload=alert(1)>', '?[2J<hr', '<p id=x>'];

const hostileName = '"><img src=x onerror="document.title=1"> with a long name that nobody breaks '.concat('x'.repeat(80));

function makeHostile(device) {
    exchange(`${device}/smbios.bin`, 'Sealed Laptop 14', '<script>x=1</scr');
    exchange(`${device}/smbios.bin`, 'SN-0042', '"\'><b>&');
    exchange(`${device}/smbios.bin`, 'SKU-14-B', '\x1b[2J<hr');
    exchange(`${device}/smbios.bin`, 'VLM 1.0.42', '\u202e<u>&gt;');
    exchange(`${device}/tpm/event_log.bin`, 'Calling EFI Application from Boot Option',
        '<img src=x onerror="document.title=1">');
    exchange(`${device}/tpm/event_log.bin`, 'ro quiet', '<p id=x>');
    exchange(`${device}/tpm/event_log.bin`, 'EFI system partition', '<script>alert(1)</', 'utf16le');
    exchange(`${device}/firmware/gm_file_get.bin`, 'EFI system partition', '<script>alert(1)</', 'utf16le');
    exchange(`${device}/firmware/gm_file_get.bin`, 'Vellum Sample Manufacturer', '<svg onload=alert(1)>');
}

// A boot that goes on for another thousand events in PCR 12, each with digests of nothing.
function makeLong(device) {
    const text = Buffer.from('kernel_cmdline: something that a loader measured');
    const event = Buffer.concat([u32(12), u32(0xd), u32(2), u16(4), Buffer.alloc(20, 1), u16(0xb), Buffer.alloc(32, 2),
        u32(text.length), text]);
    const file = `${device}/tpm/event_log.bin`;
    writeFileSync(file, Buffer.concat([readFileSync(file), ...Array(1000).fill(event)]));
}

function u16(value) {
    const bytes = Buffer.alloc(2);
    bytes.writeUInt16LE(value);
    return bytes;
}

function u32(value) {
    const bytes = Buffer.alloc(4);
    bytes.writeUInt32LE(value);
    return bytes;
}

const validate = (device) => ['--validate', '-c', `${device}/kxl.ini`];
const withReference = (device) => [...validate(device), `--reference_tpm_log_file=${work}/passes/tpm/event_log.bin`];

const cases = [
    { name: 'passes', title: 'Validation passed' },
    { name: 'pcr', fault: 'boot-loader', title: 'Validation failed' },
    { name: 'log', fault: 'forged-log', options: withReference, title: 'Validation failed' },
    { name: 'partition', fault: 'partition-moved-before', title: 'Validation failed' },
    { name: 'expired', fault: 'pmf-expired', title: 'Validation failed' },
    { name: 'absent', fault: 'no-interface', title: 'Validation failed' },
    { name: 'cautions', fault: 'pmf-without-pcrs', title: 'Validation failed' },
    { name: 'warned', fault: 'seal-log-future', title: 'Validation passed' },
    { name: 'compare', fault: 'boot-loader', title: 'Comparison failed',
        options: () => ['--compare_log', `--reference_tpm_log_file=${work}/passes/tpm/event_log.bin`] },
    { name: 'unsealed', title: 'The device is unsealed', options: () => ['--unseal', '--reason=0'] },
    { name: 'early', title: 'No verdict: the run ended early', options: () => ['--validate', '-c', '<b>none</b>.ini'] },
    { name: 'hos<b>tile', change: makeHostile, title: 'Validation failed', texts: hostileTexts },
    { name: 'long', change: makeLong, title: 'Validation passed' },
    // Of the reports of those above.
    { name: 'fleet', make: makeFleet, title: '250 of 300 devices passed', texts: [hostileName] },
    { name: 'fleet-device', make: makeFleetDevice, title: hostileName, texts: ['PCR 4', 'passed, unverified'] },
    { name: 'fleet-empty', make: makeEmptyFleet, title: '0 of 0 devices passed' },
];

// The first of each ten fails for its boot loader, the second of each ten has a PMF that expires with the month; one of
// a hundred was verified and says something else later.
function fleetReport(number) {
    const kind = number % 10 === 0 ? 'pcr' : number % 10 === 1 && number < 200 ? 'expired' : 'passes';
    const report = JSON.parse(readFileSync(join(work, `${kind}.json`), 'utf8'));
    report.device.id = number === 10 ? hostileName : `00000000-0000-4000-8000-${String(number).padStart(12, '0')}`;
    report.device.bios_version = `VLM 1.0.${number % 7 === 0 ? number : 42}`;
    report.run.started = `2026-03-02T10:${String(number % 60).padStart(2, '0')}:00Z`;
    return report;
}

function fleetDatabase() {
    const lines = [];
    for (let number = 0; number < 300; ++number) {
        const report = fleetReport(number);
        lines.push(report);
        if (number % 100 === 7) {
            const failed = JSON.parse(readFileSync(join(work, 'pcr.json'), 'utf8'));
            lines.push({ ...failed, device: report.device, run: { ...report.run, started: '2026-03-02T12:00:00Z' } });
            report.evidence = { accepted: true, key_name: '000b' };
        }
        if (number % 100 === 10) {
            lines.push({ ...report, ...{ verdict: 'passed', exit_code: 0, cause: null, stages: [], pcrs: [] },
                run: { ...report.run, started: '2026-02-27T12:00:00Z' } });
        }
    }
    const database = join(work, 'fleet.db');
    rmSync(database, { force: true });
    execFileSync(join(bin, 'vellum-report'), ['fleet', database, '-'],
        { input: lines.map((line) => JSON.stringify(line)).join('\n'), stdio: ['pipe', 'ignore', 'ignore'] });
    return database;
}

function fleetPage(name, ...options) {
    const page = join(work, `${name}.html`);
    execFileSync(join(bin, 'vellum-report'), ['fleet', ...options, '--html', page, '--now', '2026-03-05']);
    return { page, record: { stages: [], cautions: [] } };
}

function makeFleet() {
    return fleetPage('fleet', fleetDatabase(), '--not-seen-days', '3');
}

function makeFleetDevice() {
    return fleetPage('fleet-device', fleetDatabase(), '--device', hostileName);
}

function makeEmptyFleet() {
    const nothing = join(work, 'nothing');
    mkdirSync(nothing, { recursive: true });
    return fleetPage('fleet-empty', join(work, 'empty.db'), nothing);
}

function makeReport(row) {
    const device = join(work, row.name);
    execFileSync(join(bin, 'vellum-lab'), ['forge', device, ...(row.fault ? ['--fault', row.fault] : [])]);
    row.change?.(device);
    const page = `${device}.html`;
    const run = spawnSync(join(bin, 'vellum-report'), ['run', '--html', page, '--json', `${device}.json`,
        '--device', device, '--', ...(row.options ?? validate)(device)], { cwd: work, encoding: 'utf8' });
    if (run.error) {
        throw run.error;
    }
    return { page, record: JSON.parse(readFileSync(`${device}.json`, 'utf8')) };
}

function made(row) {
    return row.make ? row.make() : makeReport(row);
}

// Checks: each returns what is wrong ---------------------------------------------------------------------------------

const unfold = 'document.querySelectorAll("details").forEach((part) => { part.open = true; })';

// Against the width that was asked for: a telephone's window grows with what does not fit into it.
async function lookForOverflow(page, width) {
    return page.evaluate(`(() => {
        const wrong = [];
        if (document.documentElement.scrollWidth > ${width}) {
            wrong.push('the page is ' + document.documentElement.scrollWidth + ' wide in a window of ${width}');
        }
        for (const element of document.querySelectorAll('body *:not(svg *):not(.skip):not(.signs)')) {
            const box = element.getBoundingClientRect();
            if (box.width > 0 && (box.left < -1 || box.right > ${width} + 1)) {
                wrong.push(element.tagName + '.' + element.className + ' leaves the window');
            }
        }
        return wrong.slice(0, 5);
    })()`);
}

async function runAxe(page) {
    const found = await page.evaluate(`axe.run(document, {
        resultTypes: ['violations'], rules: { 'target-size': { enabled: true } } })
        .then(({ violations, passes }) => ({ rules: passes.length, wrong: violations.flatMap((rule) =>
            rule.nodes.slice(0, 3).map((node) => rule.id + ': ' + node.target.join(' ') + ': ' + node.failureSummary)) }))`);
    return found.rules >= 10 ? found.wrong : [`axe looked at ${found.rules} rules only`];
}

async function lookAtStructure(page, row, record) {
    const seen = await page.evaluate(`({
        title: document.title, heading: document.querySelector('h1').innerText,
        stages: [...document.querySelectorAll('.stage h3')].map((e) => e.textContent),
        states: [...document.querySelectorAll('.stage > summary .badge')].map((e) => e.textContent),
        cautions: [...document.querySelectorAll('.caution > p')].map((e) => e.textContent),
        dead: [...document.querySelectorAll('a')].map((e) => e.getAttribute('href'))
            .filter((href) => !document.getElementById(href.slice(1))),
        tags: [...new Set([...document.querySelectorAll('*')].map((e) => e.localName))],
        handlers: [...document.querySelectorAll('*')].flatMap((e) => [...e.attributes])
            .filter((a) => a.name.startsWith('on') || a.name === 'style' || a.name === 'src').length,
        text: document.body.textContent })`);
    const wrong = [];
    const expect = (fits, text) => fits || wrong.push(text);
    const ran = record.stages.filter((stage) => !['not_applicable', 'not_started'].includes(stage.state));
    const words = { passed: 'passed', hidden: 'passed', warned: 'warning', failed: 'failed', skipped: 'skipped' };
    expect(seen.heading === row.title && seen.title.startsWith(row.title), `the heading is ${seen.heading}`);
    expect(same(seen.stages, ran.map((stage) => stage.title)), `the stages are ${seen.stages}`);
    expect(same(seen.states, ran.map((stage) => words[stage.state])), `their states are ${seen.states}`);
    expect(same(seen.cautions, record.cautions.map((caution) => caution.says)), `the cautions are ${seen.cautions}`);
    expect(seen.dead.length === 0, `links lead nowhere: ${seen.dead}`);
    expect(seen.handlers === 0, 'an element has a handler, a style or a source');
    const others = seen.tags.filter((tag) => !knownTags.has(tag));
    expect(others.length === 0, `there are elements ${others}`);
    for (const text of row.texts ?? []) {
        expect(seen.text.includes(text), `it does not show ${text}`);
    }
    return wrong;
}

const knownTags = new Set(('html head meta title style body a b circle code dd desc details div dl dt footer h1 h2 h3 h4 ' +
    'header li line main nav ol p path pre rect section span strong summary svg symbol table tbody td text th thead ' +
    'time tr ul use caption').split(' '));

function same(a, b) {
    return JSON.stringify(a) === JSON.stringify(b);
}

// By the keyboard each link and each folded part is reached, the skip link first, and shows that it is.
async function walkByKeyboard(page) {
    const all = await page.evaluate(`[...document.querySelectorAll('a, summary')].filter((e) => e.checkVisibility()).length`);
    const wrong = [];
    for (let step = 0; step < all; ++step) {
        await page.press('Tab');
        const focus = await page.evaluate(`(() => {
            const element = document.activeElement, box = element.getBoundingClientRect(), look = getComputedStyle(element);
            return { what: element.localName + '.' + element.className, shown: box.right > 0 && box.bottom > 0,
                outlined: look.outlineStyle !== 'none' && parseFloat(look.outlineWidth) >= 2 };
        })()`);
        if (step === 0 && focus.what !== 'a.skip') {
            wrong.push(`the first stop is ${focus.what}`);
        }
        if (!focus.shown || !focus.outlined || focus.what.startsWith('body')) {
            wrong.push(`stop ${step + 1} of ${all} is not seen: ${focus.what}`);
        }
    }
    return wrong.slice(0, 3);
}

// On paper nothing stays folded.
async function lookAtPrint(page) {
    await page.show({ width: paperWidth, media: 'print' });
    const folded = await page.evaluate(`[...document.querySelectorAll('details')].filter((part) =>
        part.getBoundingClientRect().height < part.firstElementChild.getBoundingClientRect().height + 10).length`);
    return folded === 0 ? lookForOverflow(page, paperWidth) : [`${folded} parts stay folded in print`];
}

async function checkPage(browser, row) {
    const { page: file, record } = made(row);
    const wrong = statSync(file).size < mostBytes ? [] : [`it has ${statSync(file).size} bytes`];
    const page = await browser.page();
    const note = (place, found) => wrong.push(...found.map((text) => `${place}: ${text}`));
    await page.show({ width: widths[1] });
    await page.open(pathToFileURL(file).href);
    note('structure', await lookAtStructure(page, row, record));
    note('keyboard', await walkByKeyboard(page));
    note('print', await lookAtPrint(page));
    await page.evaluate(unfold);
    for (const width of widths) {
        await page.show({ width });
        note(`${width} wide`, await lookForOverflow(page, width));
    }
    note('console', page.complaints);
    note('loads', page.requests.filter((url) => url !== pathToFileURL(file).href));
    await page.evaluate(axe);
    for (const view of [{ scheme: 'light', width: widths[1] }, { scheme: 'dark', width: widths[0] }]) {
        await page.show(view);
        note(`${view.scheme}, ${view.width} wide`, await runAxe(page));
    }
    await page.close();
    return wrong;
}

// Pictures ----------------------------------------------------------------------------------------------------------

async function takePicture(browser, report, view, file) {
    const page = await browser.page();
    await page.show(view);
    await page.open(pathToFileURL(report).href);
    // The machine that made a picture is of no interest.
    await page.evaluate(`document.querySelectorAll('.top .host').forEach((part) => { part.hidden = true; })`);
    const whole = await page.evaluate('document.documentElement.scrollHeight');
    writeFileSync(file, await page.picture({ x: 0, y: 0, width: view.width, height: view.height ?? whole }));
    await page.close();
}

async function takePictures(browser) {
    mkdirSync(target, { recursive: true });
    for (const row of cases) {
        const { page } = made(row);
        for (const width of widths) {
            for (const scheme of ['light', 'dark']) {
                await takePicture(browser, page, { width, scheme }, join(target, `${row.name}-${width}-${scheme}.png`));
            }
        }
    }
}

// -------------------------------------------------------------------------------------------------------------------

const browser = new Browser('chromium');
let failed = 0;
try {
    if (mode === '--pictures') {
        await takePictures(browser);
    } else if (mode === '--picture') {
        const { page } = makeReport(cases.find((row) => row.name === 'pcr'));
        await takePicture(browser, page, { width: 1200, height: 860 }, target);
    } else {
        for (const row of cases) {
            const wrong = await checkPage(browser, row);
            failed += wrong.length > 0 ? 1 : 0;
            for (const text of wrong) {
                console.error(`${row.name}: ${text}`);
            }
        }
        console.log(`${cases.length - failed} passed, ${failed} failed`);
    }
} finally {
    await browser.close();
    rmSync(work, { recursive: true, force: true });
}
process.exitCode = failed === 0 ? 0 : 1;
