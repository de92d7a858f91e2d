// All maps of the page with their common scale, tools and marked LED.

const DOUBLE_CLICK_ZOOM = 2;
const BUTTON_ZOOM = 1.6;

class MapPanel {
  constructor(report) {
    this.report = report;
    this.scale = new ColorScale(bytesOf(report.data.colors));
    this.viewport = new Viewport();
    const has = (name) => report.results.some((result) => result.drawn[name][0] > 0);
    this.layers = {
      copied: true,
      modules: has('module'),
      cabinets: has('cabinet'),
      defects: true,
      points: null,
    };
    this.views = report.results.map((result) => new MapView(result, this.viewport, this.scale, this.layers));
    this.active = this.views[0];
    this.addFigures();
    this.addTools(has);
    this.bar = new ScaleBar(byId('map-scale'), this.scale);
    this.addLegend();
    const rounded = report.data.percentile_scale.map((value) => Number(value.toPrecision(4)));
    const [low, high] = report.data.given_scale ?? rounded;
    this.lowEnd.value = String(low);
    this.highEnd.value = String(high);
    this.setScale(report.data.given_scale ? 'fixed' : 'percentile');
    onColorsChanged(() => this.draw());
  }

  draw() {
    for (const view of this.views) view.draw();
  }

  // --- tools ---

  addFigures() {
    for (const view of this.views) {
      view.readout = make('div', { class: 'readout', role: 'status', 'aria-live': 'off' });
      const caption = this.views.length > 1 ? make('figcaption', {}, view.result.file) : null;
      byId('map-figures').append(make('figure', { class: 'map-figure' }, caption, view.canvas, view.readout));
      this.listen(view);
      this.showReadout(view);
      new ResizeObserver(() => view.resize()).observe(view.canvas.parentElement);
    }
  }

  addTools(has) {
    const radio = (mode, text) => make('label', {},
        make('input', { type: 'radio', name: 'scale', value: mode, onchange: () => this.setScale(mode) }), text);
    const end = (name, label) => {
      this[name] = make('input', {
        type: 'number', step: 'any', 'aria-label': label, disabled: true,
        onchange: () => this.setScale('fixed'),
      });
      return this[name];
    };
    const layer = (name, text) => make('label', {}, make('input', {
      type: 'checkbox', name: `layer-${name}`, checked: Boolean(this.layers[name]),
      onchange: (event) => this.setLayer(name, event.target.checked),
    }), text);
    const button = (label, text, action) =>
      make('button', { type: 'button', class: 'plain', 'aria-label': label, title: label, onclick: action }, text);

    byId('map-tools').append(
        make('fieldset', {}, make('legend', {}, 'Scale'),
            radio('percentile', '1st to 99th percentile'), radio('full', 'Minimum to maximum'), radio('fixed', 'Fixed'),
            make('span', {}, end('lowEnd', 'Low end of the fixed scale'), ' \u2013 ',
                end('highEnd', 'High end of the fixed scale'))),
        make('fieldset', {}, make('legend', {}, 'Show'),
            has('module') ? layer('modules', 'Modules') : null,
            has('cabinet') ? layer('cabinets', 'Cabinets') : null,
            layer('defects', 'Defects'),
            this.hasCopiedBorder() ? layer('copied', 'Copied border') : null,
            layer('points', 'Measuring points')),
        make('fieldset', {}, make('legend', {}, 'Zoom'),
            button('Zoom out', '\u2212', () => this.zoomBy(1 / BUTTON_ZOOM)),
            button('Zoom in', '+', () => this.zoomBy(BUTTON_ZOOM)),
            button('Show the whole screen', 'Whole screen', () => this.showAll())));
  }

  hasCopiedBorder() {
    return this.report.results.some((result) => result.drawn.copied_border > 0);
  }

  /** What hatching and shapes mean, as far as the results have them. */
  addLegend() {
    const { results } = this.report;
    const has = (kind) => results.some((result) => result.analysis.counts[kind] > 0);
    const texts = ['luminance in units of the photograph\u2019s samples'];
    const kinds = [['dead', 'square: dead'], ['dim', 'circle: dim'], ['bright', 'diamond: bright']];
    texts.push(...kinds.filter(([kind]) => has(kind)).map(([, text]) => text));
    if (this.hasCopiedBorder()) texts.push('hatched border: copies of LEDs inside');
    if (results.some((result) => result.matrix.hasHoles)) texts.push('gray hatched: not measured');
    for (const block of new Set(results.map((result) => result.matrix.block))) {
      if (block > 1) texts.push(`one cell of the map: mean of ${block} \u00d7 ${block} LEDs`);
    }
    byId('map-scale').append(make('div', { class: 'legend' }, texts.map((text) => make('span', {}, text))));
  }

  setLayer(name, isShown) {
    this.layers[name] = name === 'points' ? isShown && this.pointCount() : isShown;
    this.draw();
  }

  pointCount() {
    return document.querySelector('input[name="points"]:checked')?.value ?? '9';
  }

  /** To be called when another number of measuring points has been chosen. */
  pointsChanged() {
    if (!this.layers.points) return;
    this.layers.points = this.pointCount();
    this.draw();
  }

  // --- scale ---

  endsOf(mode) {
    const { results, data } = this.report;
    if (mode === 'percentile') return data.percentile_scale;
    if (mode === 'full') {
      const low = Math.min(...results.map((result) => result.analysis.level.minimum));
      const high = Math.max(...results.map((result) => result.analysis.level.maximum));
      return low < high ? [low, high] : data.percentile_scale;
    }
    const given = [this.lowEnd.valueAsNumber, this.highEnd.valueAsNumber];
    const isValid = given.every(Number.isFinite) && given[0] < given[1];
    this.lowEnd.setAttribute('aria-invalid', String(!isValid));
    this.highEnd.setAttribute('aria-invalid', String(!isValid));
    return isValid ? given : null;
  }

  setScale(mode) {
    document.querySelector(`input[name="scale"][value="${mode}"]`).checked = true;
    this.lowEnd.disabled = this.highEnd.disabled = mode !== 'fixed';
    const ends = this.endsOf(mode);
    if (!ends) return;
    [this.scale.low, this.scale.high] = ends;
    this.bar.draw();
    for (const view of this.views) {
      if (!view.size) view.resize();
      view.recolor();
    }
  }

  // --- moving about ---

  zoomBy(factor) {
    this.active.zoomAt(factor);
    this.draw();
  }

  showAll() {
    this.viewport.showAll();
    this.draw();
  }

  /** Zooms to an LED of a result, given by its screen position, and marks it. */
  goTo(result, screenLed) {
    const view = this.views.find((one) => one.result === result);
    const led = { x: screenLed.x - view.at[0], y: screenLed.y - view.at[1] };
    const ledsShown = 40;
    this.active = view;
    this.viewport.zoom = Math.max(1, view.size.width / (ledsShown * view.fitted()));
    this.viewport.zoom = Math.min(this.viewport.zoom, view.largestZoom());
    view.centerOn(led);
    this.markLed(led, true);
    view.canvas.scrollIntoView({ block: 'center' });
    view.canvas.focus({ preventScroll: true });
  }

  /** Marks the LED in every map that has it; with `aloud`, screen readers say its value. */
  markLed(led, aloud = false) {
    for (const view of this.views) {
      view.mark = led && view.holds(led) ? led : null;
      view.readout.setAttribute('aria-live', aloud && view === this.active ? 'polite' : 'off');
      this.showReadout(view);
      view.draw();
    }
  }

  showReadout(view) {
    const { mark, result, readout } = view;
    if (!mark) {
      readout.replaceChildren(make('span', { class: 'muted' }, 'Point at an LED to see its value.'));
      return;
    }
    const part = (name, value, key) =>
      make('span', { 'data-part': key }, make('span', { class: 'name' }, name), make('strong', {}, value));
    const place = { x: mark.x + view.at[0], y: mark.y + view.at[1] };
    const defect = result.defectAt.get(`${place.x},${place.y}`);
    const { block, exact, step } = result.matrix;
    const value = defect ? defect.value : view.valueAt(mark);
    const isMean = block > 1 && !defect;
    const parts = [part('LED', `${place.x}, ${place.y}`, 'led')];
    parts.push(part(isMean ? `Mean of ${block} \u00d7 ${block} LEDs` : 'Value',
        Number.isNaN(value) ? 'not measured' : number(value, (v) => numberText(v, 7)), 'value'));
    if (!exact && !defect && !Number.isNaN(value)) parts.push(part('\u00b1', numberText(step / 2, 2), 'step'));
    for (const [name, unit] of [['Module', result.drawn.module], ['Cabinet', result.drawn.cabinet]]) {
      if (!(unit[0] > 0)) continue;
      const index = [Math.floor(place.x / unit[0]), Math.floor(place.y / unit[1])];
      parts.push(part(name, pairText(index), name.toLowerCase()));
    }
    if (defect) parts.push(part('Defect', `${defect.kind}, ratio ${numberText(defect.ratio, 4)}`, 'defect'));
    if (this.isCopied(view, mark)) parts.push(part('Copy', 'of an LED inside', 'copy'));
    readout.replaceChildren(...parts);
  }

  isCopied(view, led) {
    const width = view.result.drawn.copied_border;
    return led.x < width || led.y < width || led.x >= view.leds[0] - width || led.y >= view.leds[1] - width;
  }

  // --- pointer and keyboard ---

  listen(view) {
    const { canvas } = view;
    const fingers = new Map();  // pointer id -> its last place
    const placeOf = (event) => {
      const box = canvas.getBoundingClientRect();
      return {
        x: ((event.clientX - box.left - canvas.clientLeft) * view.size.width) / canvas.clientWidth,
        y: ((event.clientY - box.top - canvas.clientTop) * view.size.height) / canvas.clientHeight,
      };
    };
    const spread = () => {
      const [a, b] = [...fingers.values()];
      return { x: (a.x + b.x) / 2, y: (a.y + b.y) / 2, size: Math.hypot(a.x - b.x, a.y - b.y) };
    };
    canvas.addEventListener('pointerdown', (event) => {
      this.active = view;
      fingers.set(event.pointerId, placeOf(event));
      canvas.setPointerCapture(event.pointerId);
    });
    canvas.addEventListener('pointermove', (event) => {
      const place = placeOf(event);
      const before = fingers.get(event.pointerId);
      if (before && fingers.size === 2) {
        const old = spread();
        fingers.set(event.pointerId, place);
        const now = spread();
        view.panBy(now.x - old.x, now.y - old.y);
        view.zoomAt(now.size / Math.max(old.size, 1), now.x, now.y);
        this.draw();
      } else if (before) {
        fingers.set(event.pointerId, place);
        canvas.classList.add('is-dragged');
        view.panBy(place.x - before.x, place.y - before.y);
        this.draw();
      }
      if (fingers.size < 2) this.markLed(view.ledAt(place.x, place.y));
    });
    for (const name of ['pointerup', 'pointercancel']) {
      canvas.addEventListener(name, (event) => {
        fingers.delete(event.pointerId);
        canvas.classList.remove('is-dragged');
      });
    }
    canvas.addEventListener('pointerleave', () => {
      if (document.activeElement !== canvas) this.markLed(null);
    });
    canvas.addEventListener('dblclick', (event) => {
      const place = placeOf(event);
      view.zoomAt(event.shiftKey ? 1 / DOUBLE_CLICK_ZOOM : DOUBLE_CLICK_ZOOM, place.x, place.y);
      this.draw();
    });
    canvas.addEventListener('wheel', (event) => {
      // The page scrolls under the pointer unless the map was asked for.
      if (!event.ctrlKey && document.activeElement !== canvas) return;
      event.preventDefault();
      const place = placeOf(event);
      view.zoomAt(Math.exp(-event.deltaY * (event.ctrlKey ? 0.01 : 0.002)), place.x, place.y);
      this.draw();
    }, { passive: false });
    canvas.addEventListener('focus', () => {
      this.active = view;
    });
    canvas.addEventListener('blur', () => this.markLed(null));
    canvas.addEventListener('keydown', (event) => this.onKey(view, event));
  }

  onKey(view, event) {
    if (event.altKey || event.ctrlKey || event.metaKey) return;
    const ledsShown = view.size.width / view.pixelsPerLed();
    const step = event.shiftKey ? 1 : Math.max(1, Math.round(ledsShown / 40));
    const current = view.mark ?? {
      x: Math.floor(this.viewport.x * view.leds[0]),
      y: Math.floor(this.viewport.y * view.leds[1]),
    };
    const moves = {
      ArrowLeft: [-step, 0],
      ArrowRight: [step, 0],
      ArrowUp: [0, -step],
      ArrowDown: [0, step],
      Home: [-view.leds[0], 0],
      End: [view.leds[0], 0],
    };
    if (event.key in moves) {
      const [dx, dy] = moves[event.key];
      const led = {
        x: Math.min(Math.max(current.x + dx, 0), view.leds[0] - 1),
        y: Math.min(Math.max(current.y + dy, 0), view.leds[1] - 1),
      };
      view.centerOn(led);
      this.markLed(led, true);
    } else if (event.key === '+' || event.key === '=' || event.key === '-' || event.key === '_') {
      const isIn = event.key === '+' || event.key === '=';
      if (view.mark) view.centerOn(view.mark);
      view.zoomAt(isIn ? BUTTON_ZOOM : 1 / BUTTON_ZOOM);
    } else if (event.key === '0') {
      this.viewport.showAll();
    } else if (event.key === 'Escape') {
      this.markLed(null);
    } else {
      return;
    }
    event.preventDefault();
    this.draw();
  }
}
