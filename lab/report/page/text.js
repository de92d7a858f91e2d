// Elements, texts and bytes: what all other parts use.

const NOT_KNOWN = '\u2013';

/** The element with that id. */
function byId(id) {
  return document.getElementById(id);
}

/**
 * A new element. Attributes that are false or undefined are left out, listeners are given as `onclick` and so on.
 * Children are nodes or texts; texts are never read as HTML.
 */
function make(tag, attributes = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === false || value === undefined || value === null) continue;
    if (name.startsWith('on')) {
      node.addEventListener(name.slice(2), value);
    } else {
      node.setAttribute(name, value === true ? '' : String(value));
    }
  }
  node.append(...children.flat().filter((child) => child !== null && child !== undefined));
  return node;
}

/** Six significant digits without trailing zeros; a dash where there is no number. */
function numberText(value, digits = 6) {
  if (value === null || value === undefined || !Number.isFinite(value)) return NOT_KNOWN;
  const size = Math.abs(value);
  if (size !== 0 && (size >= 1e9 || size < 1e-4)) {
    return withMinus(value.toExponential(digits - 1).replace(/\.?0+e/, 'e'));
  }
  const text = value.toPrecision(digits);
  if (text.includes('e')) return withMinus(String(Number(text)));
  return withMinus(text.includes('.') ? text.replace(/\.?0+$/, '') : text);
}

/** A minus sign as wide as the digits in place of the hyphen. */
function withMinus(text) {
  return text.replaceAll('-', '\u2212');
}

let luminanceDecimals = null;  // null: as many as each number needs

/** Gives all luminances of the page the number of decimals that the typical one has with six digits. */
function chooseLuminanceDecimals(results) {
  const typical = Math.min(...results.map(({ analysis }) => Math.abs(analysis.level.median)));
  if (typical >= 1e-3 && typical < 1e9) luminanceDecimals = Math.max(0, 5 - Math.floor(Math.log10(typical)));
}

/** A luminance, so that the points of numbers below each other are in line. */
function luminanceText(value) {
  if (luminanceDecimals === null || value === null || !Number.isFinite(value)) return numberText(value);
  return withMinus(value.toFixed(luminanceDecimals));
}

/** A share as percent, with two places behind the point. */
function percentText(share) {
  return share === null || !Number.isFinite(share) ? NOT_KNOWN : `${withMinus((100 * share).toFixed(2))} %`;
}

function countText(count) {
  return String(count).replace(/\B(?=(\d{3})+(?!\d))/g, ',');
}

function pairText(pair) {
  return pair ? `${pair[0]}, ${pair[1]}` : NOT_KNOWN;
}

function sizeText(size) {
  return `${size[0]} \u00d7 ${size[1]}`;
}

/** A number as the page shows it, with all its digits in the `value` attribute. */
function number(value, format = numberText) {
  const isKnown = value !== null && value !== undefined && Number.isFinite(value);
  if (!isKnown) return make('span', { role: 'img', 'aria-label': 'not known' }, NOT_KNOWN);
  return make('data', { value: String(value) }, format(value));
}

function bytesOf(base64) {
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
  return bytes;
}

/** Little-endian 32-bit floats, whatever the order of this machine is. */
function floatsOf(base64) {
  const view = new DataView(bytesOf(base64).buffer);
  const values = new Float32Array(view.byteLength / 4);
  for (let i = 0; i < values.length; ++i) values[i] = view.getFloat32(4 * i, true);
  return values;
}

/** The color that the style sheet has under that name at the moment, such as `--ink`. */
function styleColor(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

/** The color of result number `index` in all curves. */
function seriesColor(index) {
  return styleColor(`--series-${(index % 6) + 1}`);
}

/** Calls back whenever the colors of the style sheet may have changed: dark or light, screen or paper. */
function onColorsChanged(callback) {
  for (const query of ['(prefers-color-scheme: dark)', 'print']) {
    window.matchMedia(query).addEventListener('change', callback);
  }
}
