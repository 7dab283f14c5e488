// The viewer in Firefox: it opens each sample and a large file, names files that are none, repairs and exports in its worker, and
// requests nothing. NODE_PATH has puppeteer-core; VIEWER and TRAMO are the page and the tool; the argument is a folder for files.
const fs = require('fs');
const path = require('path');
const { execFileSync } = require('child_process');
const { pathToFileURL } = require('url');
const puppeteer = require('puppeteer-core');

const folder = path.resolve(process.argv[2]), samples = path.join(__dirname, '../../samples');
const { VIEWER, TRAMO } = process.env;
let failed = 0, checked = 0;

function check(name, holds, what = '') {
    checked++;
    if (holds) return;
    failed++;
    console.log(`failed: ${name} ${what}`);
}
// The exit code 1 says that there are findings.
function tramo(...words) {
    try {
        return execFileSync(TRAMO, words, { maxBuffer: 1 << 28 });
    } catch (error) {
        if (error.status !== 1) throw error;
        return error.stdout;
    }
}

async function choose(page, ...files) {
    await page.evaluate(() => {
        delete document.documentElement.dataset.opened;
        document.querySelectorAll('.drop .problem').forEach((one) => one.remove());
    });
    const input = await page.$('input[type=file]');
    await input.uploadFile(...files);
    await page.waitForSelector('html[data-opened], .drop .problem', { timeout: 240000 });
    return page.evaluate(() => document.querySelector('.drop .problem')?.parentElement.textContent ?? null);
}

/** The bytes of the file that a button saves. */
async function saved(page, label) {
    return page.evaluate(async (name) => {
        const made = new Promise((resolve) => {
            const make = URL.createObjectURL;
            URL.createObjectURL = (blob) => {
                URL.createObjectURL = make;
                resolve(blob);
                return make.call(URL, blob);
            };
        });
        [...document.querySelectorAll('dialog.job button')].find((one) => one.textContent === name).click();
        return (await made).text();
    }, label);
}
async function dialog(page, label) {
    await page.evaluate((name) => [...document.querySelectorAll('.acts button')].find((one) => one.textContent.startsWith(name)).click(), label);
    await page.waitForSelector('dialog.job[open]');
}

async function main() {
    const browser = await puppeteer.launch({ browser: 'firefox', executablePath: '/usr/bin/firefox-esr', headless: true, protocolTimeout: 300000 });
    try {
        const page = await browser.newPage(), complaints = [];
        page.on('pageerror', (error) => complaints.push(error.message));
        page.on('console', (message) => message.type() === 'error' && complaints.push(message.text()));
        page.on('request', (request) => /^(file|about|blob|data):/.test(request.url()) || complaints.push('request: ' + request.url()));
        await page.goto(pathToFileURL(VIEWER).href);
        await page.waitForSelector('html[data-ready]', { timeout: 60000 });
        for (const name of fs.readdirSync(samples).filter((one) => one.endsWith('.txt'))) {
            const file = path.join(samples, name), { summary } = JSON.parse(tramo('check', '--format', 'json', file)).files[0];
            const why = await choose(page, file);
            check(name, why === null, why);
            const facts = await page.$eval('.facts', (element) => element.textContent);
            check(name, facts.includes(`${summary.lines} line`), facts);
            const badge = await page.$eval('.tabs [data-view=findings]', (element) => element.textContent.replace(/\D/g, ''));
            if (summary.errors + summary.warnings) check(name, +badge === summary.errors + summary.warnings, badge);
        }
        const round = path.join(samples, 'round-returned.txt');
        await choose(page, round);
        await dialog(page, 'Save as');
        await page.click('dialog.job input[value=jsonl]');
        check('JSON Lines', (await saved(page, 'Save')) === tramo('export', round, '--to', 'jsonl').toString());
        await page.reload();
        await page.waitForSelector('html[data-ready]', { timeout: 60000 });
        const damaged = path.join(samples, 'round-damaged.txt'), mended = path.join(folder, 'firefox-mended.txt');
        tramo('repair', damaged, '-o', mended, '--force');
        await choose(page, damaged);
        await dialog(page, 'Repair');
        check('repair', (await saved(page, 'Save the repaired file')) === fs.readFileSync(mended, 'utf8'));
        await page.reload();
        await page.waitForSelector('html[data-ready]', { timeout: 60000 });
        const exported = path.join(samples, 'round-exported.txt'), lines = fs.readFileSync(round, 'latin1').split('\r\n');
        for (let at = 3; at < 60; at += 4) lines[at] = lines[at].slice(0, 80) + lines[at].slice(81);
        const lost = path.join(folder, 'firefox-lost.txt'), proven = path.join(folder, 'firefox-proven.txt');
        fs.writeFileSync(lost, lines.join('\r\n'), 'latin1');
        tramo('repair', '--reference', exported, lost, '-o', proven, '--force');
        const both = await choose(page, lost, exported);
        check('two files', both === null, both);
        await page.click('.tabs [data-view=brought]');
        const { rounds } = JSON.parse(tramo('reconcile', '--format', 'json', exported, lost)), text = await page.$eval('.view-brought', (element) => element.textContent);
        check('what came back', text.includes('round-exported.txt (exported)') && text.includes(`Read${rounds[0].read}`), text.slice(0, 300));
        await dialog(page, 'Repair');
        await page.waitForSelector('dialog.job .job-acts');
        check('repair with the exported file', (await saved(page, 'Save the repaired file')) === fs.readFileSync(proven, 'utf8'));
        await page.reload();
        await page.waitForSelector('html[data-ready]', { timeout: 60000 });
        const zip = path.join(folder, 'firefox.zip');
        fs.writeFileSync(zip, Buffer.concat([Buffer.from('PK\x03\x04'), Buffer.alloc(300)]));
        const why = await choose(page, zip);
        check('ZIP', /ZIP archive/.test(why), why);
        const large = path.join(folder, 'firefox-large.txt');
        tramo('sample', '--meters', '50000', '--returned', '--force', '-o', large);
        const wrong = await choose(page, large);
        check('large', wrong === null, wrong);
        console.log(`50,000 meters: opened in ${await page.$eval('html', (element) => element.dataset.opened)} ms`);
        check('complaints', complaints.length === 0, complaints.join('; '));
    } finally {
        await browser.close();
    }
    console.log(`The viewer in Firefox: ${checked - failed} passed, ${failed} failed`);
    process.exitCode = failed ? 1 : 0;
}
main();
