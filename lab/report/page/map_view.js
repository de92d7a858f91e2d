// One map: a canvas that shows a part of the matrix in false colors, with grids and marks over it.
//
// Places are LEDs of the matrix, (0, 0) at the top left corner of the first LED. Lengths on the canvas are CSS pixels.

const LARGEST_LED = 48;  // pixels of an LED at the closest zoom
const NARROWEST_GRID = 6;  // pixels between lines of a grid; closer ones would hide the map

/** What part of the screen all maps show: `zoom` 1 is the whole one, `x` and `y` are the center's shares. */
class Viewport {
  constructor() {
    this.showAll();
  }

  showAll() {
    this.zoom = 1;
    this.x = 0.5;
    this.y = 0.5;
  }
}

class MapView {
  constructor(result, viewport, scale, layers) {
    this.result = result;
    this.viewport = viewport;
    this.scale = scale;
    this.layers = layers;
    [this.leds, this.at] = [result.analysis.size, result.analysis.at];
    this.mark = null;  // LED of the matrix that is marked, {x, y}
    this.canvas = make('canvas', {
      class: 'map-canvas',
      tabindex: 0,
      role: 'application',
      'aria-roledescription': 'luminance map',
      'aria-label': this.description(),
      'aria-describedby': 'map-help',
    });
    this.cells = document.createElement('canvas');
    this.cells.width = result.matrix.width;
    this.cells.height = result.matrix.height;
    this.image = new ImageData(result.matrix.width, result.matrix.height);
    this.pixels = new Uint32Array(this.image.data.buffer);
    this.isScheduled = false;
  }

  description() {
    const { analysis, file } = this.result;
    const { level, counts } = analysis;
    return `Luminance map of ${file}: ${analysis.size[0]} by ${analysis.size[1]} LEDs, mean ${numberText(level.mean)}, ` +
      `from ${numberText(level.minimum)} to ${numberText(level.maximum)}; ` +
      `${counts.dead} dead, ${counts.dim} dim and ${counts.bright} bright LEDs.`;
  }

  /** Fits the canvas to the width it has; to be called when that changes. */
  resize() {
    const width = Math.max(1, this.canvas.clientWidth);
    const highest = Math.max(240, Math.min(1000, 0.82 * window.innerHeight));
    const height = Math.round(Math.min(highest, Math.max(90, (width * this.leds[1]) / this.leds[0])));
    const ratio = window.devicePixelRatio || 1;
    const { size } = this;
    if (size && size.width === width && size.height === height && size.ratio === ratio) return;
    this.size = { width, height, ratio };
    this.limitViewport();
    // A new size empties the canvas, so it is filled at once and not before the next frame.
    this.canvas.width = Math.round(width * ratio);
    this.canvas.height = Math.round(height * ratio);
    this.drawNow();
  }

  /** Colors all cells anew; to be called when the scale has changed. */
  recolor() {
    this.scale.paint(this.result.matrix.values, this.pixels);
    this.cells.getContext('2d').putImageData(this.image, 0, 0);
    this.draw();
  }

  // --- from LEDs to the canvas and back ---

  fitted() {
    return Math.min(this.size.width / this.leds[0], this.size.height / this.leds[1]);
  }

  /** Pixels of an LED's side. */
  pixelsPerLed() {
    return this.fitted() * this.viewport.zoom;
  }

  largestZoom() {
    return Math.max(1, LARGEST_LED / this.fitted());
  }

  /** Canvas position of the matrix's top left corner. */
  origin() {
    const side = this.pixelsPerLed();
    return {
      x: this.size.width / 2 - this.viewport.x * this.leds[0] * side,
      y: this.size.height / 2 - this.viewport.y * this.leds[1] * side,
    };
  }

  /** The LED at a place of the canvas, or null beside the screen. */
  ledAt(x, y) {
    const origin = this.origin();
    const side = this.pixelsPerLed();
    const led = { x: Math.floor((x - origin.x) / side), y: Math.floor((y - origin.y) / side) };
    return this.holds(led) ? led : null;
  }

  holds(led) {
    return led.x >= 0 && led.y >= 0 && led.x < this.leds[0] && led.y < this.leds[1];
  }

  /** The LED's luminance, or the mean of its cell where the map is coarser than the matrix. */
  valueAt(led) {
    const { width, block, values } = this.result.matrix;
    return values[Math.floor(led.y / block) * width + Math.floor(led.x / block)];
  }

  /** Keeps the screen in view: no empty room on one side while LEDs are hidden on the other. */
  limitViewport() {
    const view = this.viewport;
    view.zoom = Math.min(Math.max(view.zoom, 1), this.largestZoom());
    const limit = (center, shown) =>
      (shown >= 1 ? 0.5 : Math.min(Math.max(center, shown / 2), 1 - shown / 2));
    const side = this.pixelsPerLed();
    view.x = limit(view.x, this.size.width / (side * this.leds[0]));
    view.y = limit(view.y, this.size.height / (side * this.leds[1]));
  }

  /** Zooms by a factor so that the canvas position (x, y) keeps its place. */
  zoomAt(factor, x = this.size.width / 2, y = this.size.height / 2) {
    const before = this.pixelsPerLed();
    const origin = this.origin();
    const ledX = (x - origin.x) / before;
    const ledY = (y - origin.y) / before;
    this.viewport.zoom = Math.min(Math.max(this.viewport.zoom * factor, 1), this.largestZoom());
    const side = this.pixelsPerLed();
    this.viewport.x = (ledX - (x - this.size.width / 2) / side) / this.leds[0];
    this.viewport.y = (ledY - (y - this.size.height / 2) / side) / this.leds[1];
    this.limitViewport();
  }

  panBy(dx, dy) {
    const side = this.pixelsPerLed();
    this.viewport.x -= dx / (side * this.leds[0]);
    this.viewport.y -= dy / (side * this.leds[1]);
    this.limitViewport();
  }

  centerOn(led) {
    this.viewport.x = (led.x + 0.5) / this.leds[0];
    this.viewport.y = (led.y + 0.5) / this.leds[1];
    this.limitViewport();
  }

  // --- drawing ---

  /** Draws before the next frame, however often it is asked for until then. */
  draw() {
    if (this.isScheduled) return;
    this.isScheduled = true;
    requestAnimationFrame(() => {
      this.isScheduled = false;
      this.drawNow();
    });
  }

  drawNow() {
    const context = this.canvas.getContext('2d');
    const { width, height, ratio } = this.size;
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, width, height);
    const origin = this.origin();
    const side = this.pixelsPerLed();
    this.canvas.classList.toggle('is-zoomed', this.viewport.zoom > 1);
    this.canvas.dataset.zoom = String(this.viewport.zoom);

    context.save();
    context.beginPath();
    context.rect(origin.x, origin.y, this.leds[0] * side, this.leds[1] * side);
    context.clip();
    context.fillStyle = hatching(context, styleColor('--hatch-ground'), styleColor('--hatch-line'));
    context.fillRect(0, 0, width, height);
    this.drawCells(context, origin, side);
    if (this.layers.copied) this.drawCopiedBorder(context, origin, side);
    if (this.layers.modules) this.drawGrid(context, origin, side, this.result.drawn.module, 1);
    if (this.layers.cabinets) this.drawGrid(context, origin, side, this.result.drawn.cabinet, 2);
    context.restore();
    if (this.layers.points) this.drawPoints(context, origin, side);
    if (this.layers.defects) this.drawDefects(context, origin, side);
    if (this.mark) this.drawMark(context, origin, side);
  }

  /** The cells in view. The canvas is not given more than these, since it would round the places of far more. */
  drawCells(context, origin, side) {
    const cell = side * this.result.matrix.block;
    const left = Math.max(0, Math.floor(-origin.x / cell));
    const top = Math.max(0, Math.floor(-origin.y / cell));
    const right = Math.min(this.cells.width, Math.ceil((this.size.width - origin.x) / cell));
    const bottom = Math.min(this.cells.height, Math.ceil((this.size.height - origin.y) / cell));
    if (right <= left || bottom <= top) return;
    context.imageSmoothingEnabled = cell * this.size.ratio < 1;
    context.imageSmoothingQuality = 'high';
    context.drawImage(this.cells, left, top, right - left, bottom - top,
        origin.x + left * cell, origin.y + top * cell, (right - left) * cell, (bottom - top) * cell);
  }

  drawCopiedBorder(context, origin, side) {
    const width = this.result.drawn.copied_border * side;
    const [across, down] = [this.leds[0] * side, this.leds[1] * side];
    if (width <= 0 || 2 * width >= Math.min(across, down)) return;
    context.beginPath();
    context.rect(origin.x, origin.y, across, down);
    context.rect(origin.x + width, origin.y + width, across - 2 * width, down - 2 * width);
    context.fillStyle = hatching(context, 'rgba(190, 190, 190, 0.35)', 'rgba(25, 25, 25, 0.75)');
    context.fill('evenodd');
    context.lineWidth = 1;
    context.strokeStyle = 'rgba(25, 25, 25, 0.9)';
    context.strokeRect(origin.x + width, origin.y + width, across - 2 * width, down - 2 * width);
  }

  /** Lines where modules or cabinets begin: light ones with a dark rim are seen on every color. */
  drawGrid(context, origin, side, unit, strength) {
    if (!unit || unit[0] * side < NARROWEST_GRID || unit[1] * side < NARROWEST_GRID) return;
    context.beginPath();
    for (const axis of [0, 1]) {
      const first = unit[axis] - (((this.at[axis] % unit[axis]) + unit[axis]) % unit[axis]);
      for (let led = first; led < this.leds[axis]; led += unit[axis]) {
        const place = (axis === 0 ? origin.x : origin.y) + led * side;
        context.moveTo(axis === 0 ? place : 0, axis === 0 ? 0 : place);
        context.lineTo(axis === 0 ? place : this.size.width, axis === 0 ? this.size.height : place);
      }
    }
    context.lineWidth = 1 + strength;
    context.strokeStyle = 'rgba(0, 0, 0, 0.4)';
    context.stroke();
    context.lineWidth = 0.5 * strength;
    context.strokeStyle = 'rgba(255, 255, 255, 0.85)';
    context.stroke();
  }

  /** Canvas position of an LED's center; `led` is a screen position. */
  centerOfScreenLed(led, origin, side) {
    return [origin.x + (led.x - this.at[0] + 0.5) * side, origin.y + (led.y - this.at[1] + 0.5) * side];
  }

  drawDefects(context, origin, side) {
    const margin = side + 5;
    const isInView = ([, x, y]) =>
      x > -margin && y > -margin && x < this.size.width + margin && y < this.size.height + margin;
    const inView = this.result.analysis.defects
        .map((defect) => [defect.kind, ...this.centerOfScreenLed(defect, origin, side)])
        .filter(isInView);
    // Many marks are small, so that something of the map remains to be seen.
    const isCrowded = inView.length > 250;
    const radius = Math.max(isCrowded ? 2.5 : 4.5, 0.5 * side + 3 - (isCrowded ? 2 : 0));
    context.beginPath();
    for (const [kind, x, y] of inView) drawShape(context, kind, x, y, radius);
    strokeWithHalo(context, isCrowded ? 1 : 1.5);
  }

  drawPoints(context, origin, side) {
    context.beginPath();
    for (const point of this.result.analysis.uniformity[this.layers.points].points) {
      const [x, y] = this.centerOfScreenLed(point, origin, side);
      context.moveTo(x - 6, y);
      context.lineTo(x + 6, y);
      context.moveTo(x, y - 6);
      context.lineTo(x, y + 6);
    }
    strokeWithHalo(context);
  }

  drawMark(context, origin, side) {
    const size = Math.max(side, 7);
    const x = origin.x + (this.mark.x + 0.5) * side;
    const y = origin.y + (this.mark.y + 0.5) * side;
    context.beginPath();
    context.rect(x - size / 2, y - size / 2, size, size);
    for (const [dx, dy] of [[1, 0], [-1, 0], [0, 1], [0, -1]]) {
      context.moveTo(x + dx * (size / 2 + 2), y + dy * (size / 2 + 2));
      context.lineTo(x + dx * (size / 2 + 9), y + dy * (size / 2 + 9));
    }
    strokeWithHalo(context);
  }
}

/** A square for dead LEDs, a circle for dim ones, a diamond for bright ones. */
function drawShape(context, kind, x, y, radius) {
  if (kind === 'dead') {
    context.rect(x - radius, y - radius, 2 * radius, 2 * radius);
  } else if (kind === 'dim') {
    context.moveTo(x + radius, y);
    context.arc(x, y, radius, 0, 2 * Math.PI);
  } else {
    const r = 1.25 * radius;
    context.moveTo(x, y - r);
    context.lineTo(x + r, y);
    context.lineTo(x, y + r);
    context.lineTo(x - r, y);
    context.closePath();
  }
}

function strokeWithHalo(context, width = 1.5) {
  context.lineWidth = 2.4 * width;
  context.strokeStyle = 'rgba(0, 0, 0, 0.75)';
  context.stroke();
  context.lineWidth = width;
  context.strokeStyle = '#ffffff';
  context.stroke();
}

/** Oblique lines on a ground. */
function hatching(context, ground, line) {
  const side = 8;
  const tile = document.createElement('canvas');
  tile.width = side;
  tile.height = side;
  const tileContext = tile.getContext('2d');
  tileContext.fillStyle = ground;
  tileContext.fillRect(0, 0, side, side);
  tileContext.strokeStyle = line;
  tileContext.lineWidth = 1;
  for (const shift of [-side, 0, side]) {
    tileContext.moveTo(shift, side);
    tileContext.lineTo(shift + side, 0);
  }
  tileContext.stroke();
  return context.createPattern(tile, 'repeat');
}
