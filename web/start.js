// Starts a page that contains a report.
import { h } from './elements.js';
import { seen } from './visible.js';
import { chooseLanguage, t } from './texts.js';
import { Round, fromPage } from './data.js';
import { App } from './app.js';

export function showMessage(root, title, more) {
    root.replaceChildren(h('main', { class: 'message' }, h('h1', { role: 'alert' }, title), more ? h('p', null, more) : null));
}

async function startReport() {
    const root = document.getElementById('app');
    chooseLanguage(document.documentElement, navigator.languages ?? []);
    try {
        const data = await fromPage();
        if (!data) return showMessage(root, t('noData'), t('noDataMore'));
        new App(root, new Round(data));
        performance.mark('ready');
        document.documentElement.dataset.ready = performance.now().toFixed(0);
    } catch (error) {
        showMessage(root, t('badData', { why: seen(error.message) }));
    }
}
startReport();
