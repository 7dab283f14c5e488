// The radio module of a meter: alarms, index, history.
import { h } from './elements.js';
import { num, stamp } from './numbers.js';
import { D, alarmList, block, facts, joined } from './parts.js';
import { spark } from './history.js';
import { inWords } from './data.js';

/** The names of the alarms whose bits are set. */
const alarmsIn = (names, bits) => names.filter((_, k) => ((bits ?? 0) >> k) & 1).map(inWords);

function moduleFacts(amr, r, then) {
    const of = (key) => amr[key]?.[r];
    return facts([
        [D('module'), of('module')],
        [D('moduleSerial'), of('moduleSerial'), 'tab'],
        [D('internal'), of('internalSerial'), 'tab'],
        [D('port'), num(of('port'))],
        [D('unit'), of('unit')],
        [D('pulse'), num(of('pulse'), 6)],
        [D('installed'), stamp(of('installed'))],
        [
            D('radioIndex'),
            of('meterIndex') == null ? null : joined(num(of('meterIndex')), stamp(of('date')), of('status')),
            'tab',
        ],
        [
            D('radioPrevious'),
            of('prevMeter') == null ? null : joined(num(of('prevMeter')), stamp(of('prevDate')), of('prevStatus')),
            'tab',
        ],
        [D('alarmsThen'), then.length ? h('span', { lang: 'en' }, then.join(', ')) : null],
        [D('fails'), of('fails') ? D('since', { n: num(of('fails')), date: stamp(of('failDate')) || '–' }) : null],
        [D('external'), of('external') ? D('yes') : null],
    ]);
}

export function radio(round, i) {
    const { amr, ext } = round,
        plain = round.of_amr.rows(i);
    const parts = plain.map((r) => [
        alarmList(alarmsIn(round.summary.alarms.amr, amr.alarms?.[r])),
        moduleFacts(amr, r, alarmsIn(round.summary.alarms.amr, amr.prevAlarms?.[r])),
    ]);
    for (const r of round.of_ext.rows(i)) {
        const history = ext.history?.[r],
            picture = history?.length > 2 ? spark(history) : null;
        const own = plain.length
            ? null
            : facts([
                  [D('module'), ext.module?.[r]],
                  [D('moduleSerial'), ext.moduleSerial?.[r], 'tab'],
                  [
                      D('radioIndex'),
                      ext.meterIndex?.[r] == null ? null : joined(num(ext.meterIndex[r]), stamp(ext.date?.[r])),
                      'tab',
                  ],
              ]);
        parts.push([
            plain.length ? null : alarmList(alarmsIn(round.summary.alarms.ext, ext.flags?.[r])),
            own,
            facts([[D('backflow'), num(ext.backflow?.[r])]]),
            picture ? [h('h4', D('monthly')), picture] : null,
        ]);
    }
    return block(D('radio'), parts);
}
