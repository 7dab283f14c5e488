// What the views show: the meters and findings of all files, or of the file that was chosen.
import { BIT } from './data.js';

export function scopeOf(round, file = -1) {
    const all = file < 0;
    const rows = [];
    const fileOf = round.col('file');
    for (let i = 0; i < round.n; i++) if (all || (fileOf[i] ?? 0) === file) rows.push(i);
    const findings = [];
    for (let k = 0; k < round.findings.n; k++) if (all || (round.findings.file?.[k] ?? 0) === file) findings.push(k);
    const source = { ...round.source, ...(all ? nameOfAll(round) : round.files[file]) };
    const diagnosis = round.diagnosis.filter((one) => all || (one.file ?? 0) === file);
    return { round, file, rows, findings, source, diagnosis, count: all ? round.count : countStates(round, rows) };
}

/** Of two files that were compared, the second one is shown; otherwise several files have no name. */
function nameOfAll({ files, shown, reconcile }) {
    return files.length === 1 || reconcile ? { name: files[shown].name, lines: files[shown].lines } : { name: '' };
}

function countStates(round, rows) {
    const count = Object.fromEntries(Object.keys(BIT).map((state) => [state, 0]));
    for (const i of rows) for (const state in BIT) if (round.state[i] & BIT[state]) count[state]++;
    return count;
}

/** The rounds that the meters of a scope belong to. */
export const roundsOf = ({ round, file }) => (file < 0 ? round.rounds : round.rounds.filter((one) => (one.file ?? 0) === file));
