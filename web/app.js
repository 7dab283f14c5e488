// The frame of the page: heading, tabs, choice of file, and the way from one view to another.
import { button, h } from './elements.js';
import { longDate, num } from './numbers.js';
import { baseName, seen } from './visible.js';
import { t } from './texts.js';
import { scopeOf, roundsOf } from './scope.js';
import { overview } from './overview.js';
import { MetersView } from './meters.js';
import { FindingsView } from './findings.js';
import { brought } from './brought.js';
import { paper } from './print.js';
import { counted } from './verdict.js';

const NAMES_SHOWN = 3;
const different = (list) => [...new Set(list.filter(Boolean))];

export class App {
    /** actions: elements beside the button that prints, for a page that can do more; signal: ends what the page listens to. */
    constructor(root, round, { actions = [], signal = undefined } = {}) {
        Object.assign(this, { root, round, actions });
        this.choose(-1);
        addEventListener('hashchange', () => this.#route(), { signal });
        addEventListener('popstate', () => this.#route(), { signal });
        addEventListener('keydown', (event) => this.#slash(event), { signal });
        addEventListener('beforeprint', () => this.#showPaper(), { signal });
        addEventListener('afterprint', () => document.querySelector('.print')?.remove(), { signal });
    }

    /** Shows all files, or one of them. */
    choose(file) {
        this.scope = scopeOf(this.round, file);
        const app = { setHash: (view, serial) => this.#setHash(view, serial), openMeter: (i) => this.openMeter(i) };
        const filter = (state) => {
            this.#go('meters');
            this.#view('meters').filter(state);
        };
        this.makers = {
            overview: () => ({ el: overview(this.scope, { onFilter: filter, onFindings: () => this.#go('findings') }) }),
            ...(this.round.reconcile ? { brought: () => ({ el: brought(this.scope, app) }) } : {}),
            meters: () => new MetersView(this.scope, app),
            findings: () => new FindingsView(this.scope, app),
        };
        this.views = {};
        this.boxes = Object.fromEntries(
            Object.keys(this.makers).map((name) => [name, h('div', { class: 'view view-' + name, hidden: true })]),
        );
        const main = h('main', { id: 'main', tabindex: -1 }, Object.values(this.boxes));
        const skip = (event) => {
            event.preventDefault();
            main.focus();
        };
        document.title = [this.#name(), seen(baseName(this.scope.source.name))]
            .filter((text, k, all) => text && all.indexOf(text) === k)
            .join(' · ');
        this.root.replaceChildren(h('a.skip', { href: '#main', onclick: skip }, t('skip')), this.#top(), main);
        this.#route();
    }
    /** A view is made when it is first shown. */
    #view(name) {
        if (!this.views[name]) {
            this.views[name] = this.makers[name]();
            this.boxes[name].append(this.views[name].el);
        }
        return this.views[name];
    }

    #name() {
        const { title } = this.round.summary,
            names = different(roundsOf(this.scope).map((one) => one.name));
        return title ? seen(title) : names.slice(0, NAMES_SHOWN).map(seen).join(', ') + (names.length > NAMES_SHOWN ? ' …' : '');
    }
    #top() {
        const list = roundsOf(this.scope),
            { source } = this.scope,
            name = seen(baseName(source.name));
        const codes = different(list.map((one) => one.code))
            .slice(0, NAMES_SHOWN)
            .map((code) => h('span.code', seen(code)));
        const facts = [
            list.length > 1 ? counted('rounds', list.length) : null,
            list[0]?.imported ? t('imported', { date: longDate(list[0].imported) }) : null,
            list[0]?.user ? t('userCode', { code: seen(list[0].user) }) : null,
            name || counted('files', this.round.files.length),
            counted('lines', source.lines),
            source.encoding,
        ];
        const notes = different(list.map((one) => one.message))
            .slice(0, 2)
            .map((text) => h('p.note', h('span.offscreen', t('message') + ': '), seen(text)));
        const title = h(
            'div.title',
            h('h1', this.#name() || name || t('round'), codes),
            h(
                'p.facts',
                facts.filter(Boolean).map((fact) => h('span', fact)),
            ),
            notes,
        );
        return h(
            'header.top',
            h(
                'div.top-1',
                title,
                h(
                    'div.acts',
                    this.#fileChoice(),
                    this.actions,
                    button(t('print'), () => print()),
                ),
            ),
            this.#tabs(),
        );
    }
    #fileChoice() {
        const { files } = this.round;
        if (files.length < 2 || this.round.reconcile) return null;
        const option = (value, text) => h('option', { value, selected: value === this.scope.file }, text);
        const change = (event) => {
            this.choose(+event.target.value);
            this.root.querySelector('.acts select')?.focus();
        };
        return h(
            'select.select',
            { 'aria-label': t('file'), onchange: change },
            option(-1, t('allFiles', { n: num(files.length) })),
            files.map((file, k) => option(k, seen(baseName(file.name)))),
        );
    }
    #tabs() {
        const { source, rows, diagnosis } = this.scope,
            bad = source.errors + source.warnings;
        const badge = {
            meters: [rows.length, ''],
            findings: [bad || source.hints || diagnosis.length, source.errors ? ' error' : source.warnings ? ' warning' : ''],
        };
        const tab = (view) =>
            h(
                'a',
                { href: '#' + view, 'data-view': view },
                t(view),
                badge[view] ? h('span', { class: 'tab-n' + badge[view][1] }, num(badge[view][0])) : null,
            );
        return h('nav.tabs', { 'aria-label': t('views') }, Object.keys(this.makers).map(tab));
    }

    openMeter(i) {
        this.#go('meters');
        this.#view('meters').open(i, true);
    }
    #setHash(view, serial) {
        const hash = '#' + view + (serial ? '/' + encodeURIComponent(serial) : '');
        if (location.hash !== hash) history.replaceState(null, '', hash);
    }
    #go(view) {
        if (location.hash.slice(1).split('/')[0] !== view) history.pushState(null, '', '#' + view);
        this.#show(view);
    }
    #show(view) {
        this.current = view;
        document.body.dataset.view = view;
        const shown = this.#view(view);
        for (const [name, box] of Object.entries(this.boxes)) box.hidden = name !== view;
        for (const tab of this.root.querySelectorAll('.tabs a'))
            tab.dataset.view === view ? tab.setAttribute('aria-current', 'page') : tab.removeAttribute('aria-current');
        shown.shown?.();
    }
    #route() {
        const [view, serial] = location.hash.slice(1).split('/');
        const first = !this.round.n && this.scope.source.errors ? 'findings' : 'overview';
        this.#show(this.makers[view] ? view : first);
        if (view !== 'meters' || !serial) return;
        let name;
        try {
            name = decodeURIComponent(serial);
        } catch {
            return; // somebody has edited the address
        }
        const i = this.scope.rows.find((row) => this.round.col('serial')[row] === name);
        if (i != null) this.#view('meters').open(i, true);
    }
    #slash(event) {
        const search = this.views[this.current]?.search;
        if (
            event.key !== '/' ||
            event.ctrlKey ||
            event.metaKey ||
            !search ||
            /INPUT|SELECT|TEXTAREA/.test(document.activeElement?.tagName)
        )
            return;
        event.preventDefault();
        search.focus();
    }
    #showPaper() {
        document.querySelector('.print')?.remove();
        document.body.append(paper(this.scope));
    }
}
