// Pointer, wheel and keys of a map.
const REACH = 60,
    STEP = 60,
    MOVED = 4;

export function listenToMap(map) {
    const { canvas } = map;
    const at = (event) => {
        const box = canvas.getBoundingClientRect();
        return [event.clientX - box.left, event.clientY - box.top];
    };
    canvas.addEventListener(
        'wheel',
        (event) => {
            if (!map.perMetre) return;
            event.preventDefault();
            map.zoom(Math.exp(-event.deltaY * (event.deltaMode ? 0.05 : 0.0018)), ...at(event));
        },
        { passive: false },
    );
    canvas.addEventListener('keydown', (event) => listenToKey(map, event));
    canvas.addEventListener('focus', () => map.later());
    canvas.addEventListener('blur', () => map.later());
    listenToPointers(map, at);
}

function listenToKey(map, event) {
    if (!map.perMetre) return;
    const way = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] }[event.key];
    if (way) map.move(STEP * way[0], STEP * way[1]);
    else if (event.key === '+' || event.key === '=') map.zoom(1.5);
    else if (event.key === '-') map.zoom(1 / 1.5);
    else if (event.key === '0') {
        map.fit();
        map.later();
    } else if (event.key === 'Enter') {
        const i = map.pick(map.width / 2, map.height / 2, REACH);
        if (i >= 0) map.onPick(map.nextAt(i));
    } else return;
    event.preventDefault();
}

function listenToPointers(map, at) {
    const { canvas } = map,
        down = new Map();
    let start, apart, dragged;
    const hover = (i, x, y) => {
        map.hover(i);
        map.showTip(i, x, y);
    };
    canvas.addEventListener('pointerdown', (event) => {
        canvas.setPointerCapture(event.pointerId);
        start = at(event);
        down.set(event.pointerId, start);
        dragged = false;
    });
    canvas.addEventListener('pointermove', (event) => {
        if (!map.perMetre) return;
        const here = at(event),
            was = down.get(event.pointerId);
        if (!was) return hover(map.pick(...here), ...here);
        down.set(event.pointerId, here);
        if (down.size === 2) {
            const [a, b] = [...down.values()],
                distance = Math.hypot(a[0] - b[0], a[1] - b[1]);
            if (apart) map.zoom(distance / apart, (a[0] + b[0]) / 2, (a[1] + b[1]) / 2);
            apart = distance;
            dragged = true;
            return;
        }
        if (Math.hypot(here[0] - start[0], here[1] - start[1]) > MOVED) dragged = true;
        if (!dragged) return;
        map.showTip(-1);
        map.move(was[0] - here[0], was[1] - here[1]);
    });
    const up = (event) => {
        down.delete(event.pointerId);
        apart = 0;
        const i = dragged || event.type !== 'pointerup' || !map.perMetre ? -1 : map.pick(...at(event));
        if (i >= 0) map.onPick(map.nextAt(i));
    };
    canvas.addEventListener('pointerup', up);
    canvas.addEventListener('pointercancel', up);
    canvas.addEventListener('pointerleave', () => hover(-1));
}
