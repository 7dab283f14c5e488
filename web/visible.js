// Text of a file as it can be shown: a character that is invisible or turns text around becomes an escape such as \u202e.
const UNSEEN =
    /[\u0000-\u001f\u007f-\u009f\u00ad\u034f\u061c\u115f\u1160\u17b4\u17b5\u180b-\u180f\u200b-\u200f\u2028-\u202e\u2060-\u206f\u3164\ufe00-\ufe0f\ufeff\uffa0\ufff0-\ufffb]|[\ud800-\udbff](?![\udc00-\udfff])|(?<![\ud800-\udbff])[\udc00-\udfff]|\udb40[\udc00-\udfff]/g;

export function isUnseen(text) {
    UNSEEN.lastIndex = 0;
    return UNSEEN.test(text);
}

const escapeOfUnit = (code) =>
    code < 256 ? '\\x' + code.toString(16).padStart(2, '0') : '\\u' + code.toString(16).padStart(4, '0');
export const escapeOf = (text) =>
    text
        .split('')
        .map((unit) => escapeOfUnit(unit.charCodeAt(0)))
        .join('');
export const seen = (text) => (text == null ? '' : String(text).replace(UNSEEN, escapeOf));
export const baseName = (path) => String(path ?? '').replace(/^.*[\\/]/, '');
