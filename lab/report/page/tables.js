// Tables: measuring points, seams, defects.

const ROWS_AT_FIRST = 200;  // more are shown when asked for: a page of 100,000 rows would not scroll smoothly

/** A table in a box of its own that scrolls, so that the page never has to sideways; the keyboard reaches it. */
function tableBox(label, table, kind = '') {
  return make('div', { class: `table-box ${kind}`, tabindex: 0, role: 'region', 'aria-label': label }, table);
}

/**
 * A table that is sorted by a click on a column's head. A column is `{label, value(item), cell(item), isText}`: `value`
 * is what is sorted by, `cell` what is shown. A column without `value` is not sorted by.
 */
class SortableTable {
  constructor({ label, columns, items }) {
    this.columns = columns;
    this.items = items;
    this.shown = ROWS_AT_FIRST;
    this.sorting = null;
    this.body = make('tbody');
    this.heads = columns.map((column, index) => this.head(column, index));
    this.more = make('button', { type: 'button', class: 'plain', onclick: () => this.showAll() });
    const table = make('table', { class: 'list', 'aria-label': label },
        make('thead', {}, make('tr', {}, this.heads)), this.body);
    this.node = make('div', { class: 'stack' },
        tableBox(label, table), this.more);
    this.fill();
  }

  head(column, index) {
    const inside = column.value
      ? make('button', { type: 'button', class: 'sort', onclick: () => this.sortBy(index) }, column.label)
      : column.label;
    const sorting = column.value ? 'none' : false;
    return make('th', { scope: 'col', class: column.isText ? 'text' : false, 'aria-sort': sorting }, inside);
  }

  sortBy(index) {
    const isAgain = this.sorting?.index === index;
    this.sorting = { index, direction: isAgain ? -this.sorting.direction : 1 };
    const { value } = this.columns[index];
    const { direction } = this.sorting;
    // What is not known comes last in both directions. The sort is stable: equal ones keep their order.
    this.items = this.items.slice().sort((a, b) => {
      const [p, q] = [value(a), value(b)];
      if (p === null || q === null) return (p === null) - (q === null);
      return p < q ? -direction : p > q ? direction : 0;
    });
    this.heads.forEach((head, i) => {
      if (!this.columns[i].value) return;
      head.setAttribute('aria-sort', i !== index ? 'none' : direction > 0 ? 'ascending' : 'descending');
    });
    this.fill();
  }

  showAll() {
    this.shown = this.items.length;
    this.fill();
  }

  fill() {
    const rows = this.items.slice(0, this.shown).map((item) => make('tr', {},
        this.columns.map((column) => make('td', { class: column.isText ? 'text' : false }, column.cell(item)))));
    this.body.replaceChildren(...rows);
    this.more.hidden = this.items.length <= this.shown;
    this.more.textContent = `Show all ${countText(this.items.length)} (${countText(this.shown)} are shown)`;
  }
}

function numberColumn(label, value, format = numberText) {
  return { label, value, cell: (item) => number(value(item), format) };
}

/** One block for each result, with its name where there are several. */
function forEachResult(report, bodyId, content) {
  for (const result of report.results) {
    const isSingle = report.results.length === 1;
    const parts = content(result);
    // A single result has the whole width, so that its parts can stand beside each other.
    const block = make('div', { class: isSingle && parts.length > 1 ? 'parts' : 'stack' });
    if (!isSingle) block.append(make('h3', {}, result.file));
    block.append(...parts);
    byId(bodyId).append(block);
  }
}

// --- measuring points ---

const POINT_COUNTS = ['5', '9', '13', '25'];

function uniformityTable({ analysis }) {
  const columns = [
    ['min / max', 'min_over_max', percentText],
    ['max / min', 'max_over_min', numberText],
    ['1 \u2212 min / max', 'nonuniformity', percentText],
    ['min / center', 'worst_over_center', percentText],
  ];
  const head = make('tr', {}, make('th', { scope: 'col', class: 'text' }, 'Points'),
      columns.map(([label]) => make('th', { scope: 'col' }, label)));
  const rows = POINT_COUNTS.map((count) => make('tr', {}, make('th', { scope: 'row', class: 'text' }, count),
      columns.map(([, key, format]) => make('td', {}, number(analysis.uniformity[count][key], format)))));
  const table = make('table', { class: 'list' }, make('thead', {}, head), make('tbody', {}, rows));
  return tableBox('Uniformity by number of points', table, 'is-whole');
}

/** Where the points lie on the screen, each with its share of the largest one. The list has the numbers. */
function pointPlan({ analysis }, count) {
  const { points } = analysis.uniformity[count];
  const largest = largestOf(points);
  const plan = make('div', { class: 'plan', 'aria-hidden': 'true' });
  plan.style.aspectRatio = `${analysis.size[0]} / ${analysis.size[1]}`;
  for (const point of points) {
    const share = point.value === null ? NOT_KNOWN : `${((100 * point.value) / largest).toFixed(1)} %`;
    const label = make('span', {}, share);
    label.style.left = `${(100 * (point.x - analysis.at[0] + 0.5)) / analysis.size[0]}%`;
    label.style.top = `${(100 * (point.y - analysis.at[1] + 0.5)) / analysis.size[1]}%`;
    plan.append(label);
  }
  return plan;
}

function largestOf(points) {
  return points.reduce((most, { value }) => (value !== null && value > most ? value : most), -Infinity);
}

function pointTable({ analysis }, count) {
  const { points } = analysis.uniformity[count];
  const largest = largestOf(points);
  const shareOfLargest = ({ value }) => (value === null || !(largest > 0) ? null : value / largest);
  return new SortableTable({
    label: `Means at ${count} points`,
    columns: [
      numberColumn('Column', (point) => point.x, String),
      numberColumn('Row', (point) => point.y, String),
      numberColumn('Mean', (point) => point.value, luminanceText),
      numberColumn('Of the largest', shareOfLargest, percentText),
    ],
    items: points,
  }).node;
}

function showUniformity(report, panel) {
  const places = [];
  forEachResult(report, 'uniformity-body', (result) => {
    const list = make('div');
    const plan = make('div');
    places.push({ result, list, plan });
    return [make('div', { class: 'stack' }, uniformityTable(result), plan), list];
  });
  const choose = (count) => {
    for (const { result, list, plan } of places) {
      list.replaceChildren(pointTable(result, count));
      plan.replaceChildren(pointPlan(result, count));
    }
    panel.pointsChanged();
  };
  const radios = POINT_COUNTS.map((count) => make('label', {}, make('input', {
    type: 'radio', name: 'points', value: count, checked: count === '9', onchange: () => choose(count),
  }), count));
  const legend = make('legend', {}, 'Points in list and map');
  byId('uniformity-body').before(make('fieldset', { class: 'choice' }, legend, radios));
  choose('9');
}

// --- modules and seams ---

function moduleTiles({ analysis }) {
  const { modules } = analysis;
  const [one, other] = modules.between ?? [];
  const between = one ? `between ${pairText(one)} and ${pairText(other)}` : null;
  return make('dl', { class: 'tiles' }, [
    ['Modules', sizeText(modules.count), `from ${pairText(modules.first)}`],
    ['Variation of means', number(modules.cv, percentText), 'CV'],
    ['Largest step', number(modules.largest_step, percentText), between],
    ['Seams, RMS', number(analysis.seam_rms, percentText), `${analysis.seams.length} seams`],
  ].map(([label, value, remark]) => make('div', {}, make('dt', {}, label),
      make('dd', {}, value, remark ? make('small', {}, remark) : null))));
}

/** The means of the modules in colors, on a scale of their own. */
function moduleMeans({ analysis, drawn }, panel) {
  const { means, count } = analysis.modules;
  if (means === null) return make('p', { class: 'muted' }, 'The means of so many modules are left out of this page.');
  const known = means.flat().filter((mean) => mean !== null);
  const scale = new ColorScale(panel.scale.table);
  [scale.low, scale.high] = [known.reduce((a, b) => Math.min(a, b)), known.reduce((a, b) => Math.max(a, b))];
  if (!(scale.low < scale.high)) scale.high = scale.low + 1;
  const text = `Means of the modules, from ${luminanceText(scale.low)}, dark, to ${luminanceText(scale.high)}, bright`;
  const [width, height] = count;
  const canvas = make('canvas', { class: 'module-means', width, height, role: 'img', 'aria-label': text });
  const image = new ImageData(width, height);
  scale.paint(means.flat().map((mean) => mean ?? NaN), new Uint32Array(image.data.buffer));
  canvas.getContext('2d').putImageData(image, 0, 0);
  canvas.style.aspectRatio = `${width * drawn.module[0]} / ${height * drawn.module[1]}`;
  return make('figure', { class: 'map-figure' }, canvas, make('figcaption', { class: 'muted small' }, text));
}

function seamTable({ analysis }) {
  return new SortableTable({
    label: 'Seams between modules',
    columns: [
      { label: 'Direction', value: (seam) => seam.direction, cell: (seam) => seam.direction, isText: true },
      numberColumn('At', (seam) => seam.at, String),
      numberColumn('Step', (seam) => seam.step, percentText),
      numberColumn('Size of step', (seam) => (seam.step === null ? null : Math.abs(seam.step)), percentText),
    ],
    items: analysis.seams,
  }).node;
}

function showModules(report, panel) {
  if (!report.results.some(({ analysis }) => analysis.modules)) return;
  byId('modules').hidden = false;
  forEachResult(report, 'modules-body', (result) => {
    if (!result.analysis.modules) return [make('p', { class: 'muted' }, 'No modules were given.')];
    const hasSeams = result.analysis.seams.length > 0;
    const noSeams = () => make('p', { class: 'muted' }, 'There is no seam inside this result.');
    const left = make('div', { class: 'stack' }, moduleTiles(result), moduleMeans(result, panel));
    return [left, hasSeams ? seamTable(result) : noSeams()];
  });
}

// --- defects ---

const KIND_ORDER = { dead: 0, dim: 1, bright: 2 };
const pairOrder = (pair) => (pair ? pair[1] * 1e6 + pair[0] : null);

function defectTable(result, panel) {
  const { defects } = result.analysis;
  const columns = [
    numberColumn('Column', (defect) => defect.x, String),
    numberColumn('Row', (defect) => defect.y, String),
    { label: 'Kind', value: (defect) => KIND_ORDER[defect.kind], cell: (defect) => defect.kind, isText: true },
    numberColumn('Value', (defect) => defect.value, luminanceText),
    numberColumn('Ratio', (defect) => defect.ratio, (ratio) => withMinus(ratio.toFixed(3))),
  ];
  for (const [label, key] of [['Module', 'module'], ['Cabinet', 'cabinet']]) {
    if (defects.some((defect) => defect[key])) {
      columns.push({ label, value: (defect) => pairOrder(defect[key]), cell: (defect) => pairText(defect[key]) });
    }
  }
  columns.push({
    label: 'Map',
    cell: (defect) => make('button', {
      type: 'button', class: 'plain', 'aria-label': `Show the LED in column ${defect.x}, row ${defect.y}, in the map`,
      onclick: () => panel.goTo(result, defect),
    }, 'Show'),
  });
  return new SortableTable({ label: 'Defects', columns, items: defects }).node;
}

function showDefects(report, panel) {
  forEachResult(report, 'defects-body', (result) => {
    const { counts, defects } = result.analysis;
    const text = `${countText(counts.dead)} dead, ${countText(counts.dim)} dim, ${countText(counts.bright)} bright. ` +
      'The ratio is an LED\u2019s value over the median of the LEDs around it.';
    if (defects.length === 0) return [make('p', { class: 'muted' }, 'No defects were found.')];
    return [make('div', { class: 'stack' }, make('p', { class: 'muted' }, text), defectTable(result, panel))];
  });
}
