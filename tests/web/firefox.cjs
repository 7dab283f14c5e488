// The reports that the other tests have written, in Firefox: each view opens, filters, searches, sorts and prints; nothing is
// requested. Prints when 50,000 meters are ready, after `tests/web/run speed` has written that report. NODE_PATH has puppeteer-core;
// the argument is the folder of the reports.
const fs = require('fs');
const path = require('path');
const { pathToFileURL } = require('url');
const puppeteer = require('puppeteer-core');

const RUNS = 6;
const folder = path.resolve(process.argv[2]);
const reports = fs.readdirSync(folder).filter((name) => /^report-(round(returned|damaged|meters(300|2000|50000)returned)|tags|hostile)\.html$/.test(name));
let failed = 0;

function check(name, holds, what = '') {
    if (holds) return;
    failed++;
    console.log(`failed: ${name} ${what}`);
}
const text = (page, selector) => page.$eval(selector, (element) => element.textContent);
const settle = (page) => page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done, 30)))));

async function open(browser, name) {
    const page = await browser.newPage(), complaints = [];
    page.on('pageerror', (error) => complaints.push(error.message));
    page.on('console', (message) => message.type() === 'error' && complaints.push(message.text()));
    page.on('request', (request) => /^(file|about|blob|data):/.test(request.url()) || complaints.push('request: ' + request.url()));
    await page.goto(pathToFileURL(path.join(folder, name)).href);
    await page.waitForSelector('html[data-ready]', { timeout: 30000 });
    return { page, complaints };
}

async function look(browser, name) {
    const { page, complaints } = await open(browser, name);
    for (const view of await page.$$eval('.tabs a', (tabs) => tabs.map((tab) => tab.dataset.view))) {
        await page.click(`.tabs [data-view=${view}]`);
        await settle(page);
        check(name, await page.$eval(`.view-${view}`, (element) => !element.hidden && element.textContent.length > 0), view);
    }
    await page.click('.tabs [data-view=meters]');
    await settle(page);
    if (await page.$('.g-body .g-row')) await useMeters(page, name);
    check(name, complaints.length === 0, complaints.join('; '));
    await page.close();
}

async function useMeters(page, name) {
    const all = await text(page, '.shown');
    const chip = await page.$('.chip');
    await chip.click();
    await settle(page);
    const count = (await chip.$eval('.chip-n', (element) => element.textContent)).replace(/\D/g, '');
    const [shown] = (await text(page, '.shown')).split(' of ');
    check(name, shown.replace(/\D/g, '') === count, `a filter shows ${shown} of ${all} instead of ${count}`);
    for (const key of ['/', 'ArrowDown', 'ArrowDown', 'Enter']) {
        await page.keyboard.press(key);
        await settle(page);
    }
    const serial = await page.evaluate(() => document.activeElement.closest('[role=row]')?.children[1].textContent);
    check(name, serial && serial === (await text(page, '.detail h2')), 'the keyboard opens a meter');
    await page.keyboard.press('Escape');
    check(name, !(await page.$('.detail')), 'Escape closes it');
}

async function measure(browser, name) {
    const times = [];
    for (let run = 0; run < RUNS; run++) {
        const page = await browser.newPage();
        await page.goto(pathToFileURL(path.join(folder, name)).href);
        await page.waitForSelector('html[data-ready]', { timeout: 30000 });
        times.push(await page.evaluate(() => performance.getEntriesByName('ready')[0].startTime - performance.getEntriesByType('navigation')[0].domInteractive));
        await page.close();
    }
    console.log(`${name}: ready after ${times.map(Math.round).join(', ')} ms`);
}

async function main() {
    check('reports', reports.length > 3, 'the other tests have written none');
    const browser = await puppeteer.launch({ browser: 'firefox', executablePath: '/usr/bin/firefox-esr', headless: true, defaultViewport: { width: 1400, height: 900 } });
    try {
        for (const name of reports) await look(browser, name);
        for (const name of reports.filter((one) => one.includes('50000'))) await measure(browser, name);
    } finally {
        await browser.close();
    }
    console.log(`${reports.length} reports in Firefox, ${failed} failures`);
    process.exitCode = failed ? 1 : 0;
}
main();
