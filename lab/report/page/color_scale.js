// From luminances to colors: the scale that all maps of the page share, and the bar that explains it.

/** Numbers from low to high at steps of 1, 2 or 5 times a power of ten, at most about `count` of them. */
function niceTicks(low, high, count) {
  const rough = (high - low) / Math.max(count, 1);
  const power = 10 ** Math.floor(Math.log10(rough));
  const step = power * ([1, 2, 5].find((factor) => factor * power >= rough) ?? 10);
  const decimals = Math.max(0, Math.min(12, -Math.floor(Math.log10(step))));
  const ticks = [];
  for (let value = Math.ceil(low / step) * step; value <= high + step * 1e-6; value += step) {
    ticks.push({ value, text: (Math.abs(value) < step / 1000 ? 0 : value).toFixed(decimals) });
  }
  return ticks;
}

class ColorScale {
  /** `table`: 256 colors, red, green and blue of each. */
  constructor(table) {
    this.table = table;
    this.low = 0;
    this.high = 1;
    // The bytes of a canvas pixel as one number; its order follows the machine's.
    this.pixels = new Uint32Array(256);
    const bytes = new Uint8Array(this.pixels.buffer);
    for (let i = 0; i < 256; ++i) {
      bytes.set(table.subarray(3 * i, 3 * i + 3), 4 * i);
      bytes[4 * i + 3] = 255;
    }
  }

  /** Colors `values` into the canvas pixels; what was not measured becomes transparent. */
  paint(values, pixels) {
    const factor = 255 / (this.high - this.low);
    for (let i = 0; i < values.length; ++i) {
      const value = values[i];
      if (value !== value) {
        pixels[i] = 0;
        continue;
      }
      const level = Math.round((value - this.low) * factor);
      pixels[i] = this.pixels[level < 0 ? 0 : level > 255 ? 255 : level];
    }
  }
}

/** The bar with the scale's colors and its labels. `kinds`: which remarks to explain below it. */
class ScaleBar {
  constructor(parent, scale) {
    this.scale = scale;
    this.bar = make('canvas', { width: 256, height: 1, role: 'img' });
    this.ticks = make('div', { class: 'ticks', 'aria-hidden': 'true' });
    parent.append(this.bar, this.ticks);
    const context = this.bar.getContext('2d');
    const image = context.createImageData(256, 1);
    new Uint32Array(image.data.buffer).set(scale.pixels);
    context.putImageData(image, 0, 0);
    new ResizeObserver(() => this.draw()).observe(this.bar);
  }

  draw() {
    const { low, high } = this.scale;
    this.bar.setAttribute('aria-label', `Color scale from ${numberText(low)}, dark, to ${numberText(high)}, bright`);
    const width = this.bar.clientWidth || 600;
    const ends = [
      { value: low, text: numberText(low, 5), end: 'is-first' },
      { value: high, text: numberText(high, 5), end: 'is-last' },
    ];
    // Ticks too close to the labels of the ends would run into them.
    const room = 75 / width;
    const inner = niceTicks(low, high, Math.max(2, Math.floor(width / 110)));
    const all = ends.concat(inner.filter((tick) => {
      const share = (tick.value - low) / (high - low);
      return share > room && share < 1 - room;
    }));
    this.ticks.replaceChildren(...all.map((tick) => {
      const node = make('span', { class: `tick ${tick.end ?? ''}` }, tick.text);
      node.style.left = `${(100 * (tick.value - low)) / (high - low)}%`;
      return node;
    }));
  }
}
