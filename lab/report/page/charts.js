// Histogram and profiles, drawn by uPlot.

const CHART_HEIGHT = 230;

class Chart {
  /** `curves`: one for each result, `{label, values}` over the common `positions`. */
  constructor(parent, { title, summary, xLabel, yLabel, positions, curves, isStepped, xText, yText }) {
    this.settings = { xLabel, yLabel, curves, isStepped, xText, yText };
    this.data = [positions, ...curves.map((curve) => curve.values)];
    this.box = make('div', { class: 'plot', role: 'img', 'aria-label': `${title}. ${summary}` });
    parent.append(make('figure', { class: 'curve' }, make('figcaption', {}, title), this.box));
    this.draw();
    new ResizeObserver(() => {
      if (Math.abs(this.box.clientWidth - this.plot.width) > 1) this.plot.setSize(this.size());
    }).observe(this.box);
    onColorsChanged(() => this.draw());
  }

  size() {
    return { width: Math.max(200, this.box.clientWidth), height: CHART_HEIGHT };
  }

  draw() {
    const { xLabel, yLabel, curves, isStepped, xText, yText } = this.settings;
    const axis = (label, text) => ({
      label,
      stroke: styleColor('--muted'),
      grid: { stroke: styleColor('--line'), width: 1 },
      ticks: { stroke: styleColor('--line'), width: 1 },
      font: '12px system-ui, sans-serif',
      labelFont: '12px system-ui, sans-serif',
      labelSize: 20,
      labelGap: 2,
      values: (plot, values) => values.map((value) => (value === null ? '' : text(value))),
    });
    const style = (index) => ({
      stroke: seriesColor(index),
      width: 1.4,
      // Beyond six results the colors repeat, with broken lines.
      dash: index >= 6 ? [6, 3] : undefined,
      points: { show: false },
      fill: isStepped && curves.length === 1 ? `${seriesColor(index)}30` : undefined,
      paths: isStepped ? uPlot.paths.stepped({ align: 1 }) : undefined,
    });
    const options = {
      ...this.size(),
      scales: { x: { time: false }, y: isStepped ? { range: fromZero } : {} },
      axes: [{ ...axis(xLabel, xText), size: 34 }, { ...axis(yLabel, yText), size: 62 }],
      series: [
        { label: xLabel, value: (plot, value) => (value === null ? NOT_KNOWN : xText(value)) },
        ...curves.map((curve, index) => ({
          label: curve.label,
          value: (plot, value) => (value === null ? NOT_KNOWN : yText(value)),
          ...style(index),
        })),
      ],
      cursor: { y: false },
    };
    this.plot?.destroy();
    this.plot = new uPlot(options, this.data, this.box);
    this.plot.ctx.canvas.setAttribute('aria-hidden', 'true');  // the box around it has the name
  }
}

const fromZero = (plot, low, high) => [0, high > 0 ? high * 1.05 : 1];
const shortText = (value) => numberText(value, 5);

function histogramSettings(results) {
  const { low, high, counts } = results[0].drawn.histogram;
  const width = (high - low) / counts.length;
  const positions = counts.map((count, bin) => low + bin * width);
  positions.push(high);
  const curves = results.map(({ file, drawn, analysis }) => ({
    label: results.length > 1 ? file : 'Share',
    // A last value, so that the last step has its width.
    values: [...drawn.histogram.counts, drawn.histogram.counts.at(-1)].map((count) => count / analysis.counted),
  }));
  const outside = results.map(({ file, drawn }) => {
    const name = results.length > 1 ? `${file}: ` : '';
    const { below, above } = drawn.histogram;
    return `${name}${countText(below)} LEDs lie below what is shown, ${countText(above)} above.`;
  });
  return {
    title: 'Histogram',
    summary: `Share of LEDs from ${numberText(low)} to ${numberText(high)}. ${outside.join(' ')}`,
    note: outside.join(' '),
    xLabel: 'Luminance',
    yLabel: 'Share of LEDs',
    positions,
    curves,
    isStepped: true,
    xText: shortText,
    yText: (value) => `${numberText(100 * value, 3)} %`,
  };
}

/** `axis` 0: one mean for each column; 1: one for each row. */
function profileSettings(results, axis) {
  const name = axis === 0 ? 'column' : 'row';
  const first = Math.min(...results.map(({ analysis }) => analysis.at[axis]));
  const end = Math.max(...results.map(({ analysis }) => analysis.at[axis] + analysis.size[axis]));
  const positions = Array.from({ length: end - first }, (unused, i) => first + i);
  const summaries = [];
  const curves = results.map(({ file, analysis, drawn }) => {
    const means = axis === 0 ? drawn.columnMeans : drawn.rowMeans;
    const known = [...means].filter((value) => !Number.isNaN(value));
    summaries.push(`${file}: from ${numberText(known.reduce((a, b) => Math.min(a, b)))} ` +
      `to ${numberText(known.reduce((a, b) => Math.max(a, b)))}.`);
    return {
      label: results.length > 1 ? file : 'Mean',
      values: positions.map((position) => {
        const mean = means[position - analysis.at[axis]];
        return mean === undefined || Number.isNaN(mean) ? null : mean;
      }),
    };
  });
  return {
    title: axis === 0 ? 'Column profile' : 'Row profile',
    summary: `Mean luminance of each ${name}. ${summaries.join(' ')}`,
    xLabel: axis === 0 ? 'Column' : 'Row',
    yLabel: 'Mean luminance',
    positions,
    curves,
    isStepped: false,
    xText: (value) => String(value),
    yText: shortText,
  };
}

function showCurves({ results }) {
  const body = byId('curves-body');
  const histogram = histogramSettings(results);
  new Chart(body, histogram).box.parentElement.append(make('p', { class: 'muted small' }, histogram.note));
  new Chart(body, profileSettings(results, 0));
  new Chart(body, profileSettings(results, 1));
}
