// Warnings, and the figures that one wants to see first.

function noticeItem(notice, severalResults) {
  const isWarning = notice.severity === 'warning';
  const about = severalResults && notice.file ? `${notice.file}: ` : '';
  return make('li', { class: isWarning ? 'notice is-warning' : 'notice' },
      make('b', {}, isWarning ? 'Warning' : 'Remark'), about + notice.text);
}

function showNotices(report) {
  const items = report.data.notices.map((notice) => noticeItem(notice, report.results.length > 1));
  if (items.length === 0) items.push(make('li', { class: 'notice' }, 'Nothing conspicuous was found.'));
  byId('notice-list').append(...items);
}

/** The figures of an analysis: label, value, how it is written, and a line that explains it. */
function figuresOf(analysis) {
  const { level, counts } = analysis;
  const figures = [
    ['Mean', level.mean, luminanceText],
    ['Median', level.median, luminanceText],
    ['Minimum', level.minimum, luminanceText],
    ['Maximum', level.maximum, luminanceText],
    ['Standard deviation', level.standard_deviation, luminanceText],
    ['Variation (CV)', level.cv, percentText, 'standard deviation / mean'],
    ['1st percentile', level.p01, luminanceText],
    ['99th percentile', level.p99, luminanceText],
    ['Uniformity, 9 points', analysis.uniformity['9'].min_over_max, percentText, 'smallest / largest'],
    ['Nonuniformity, 9 points', analysis.uniformity['9'].nonuniformity, percentText, '1 \u2212 smallest / largest'],
  ];
  if (analysis.modules) {
    figures.push(
        ['Variation of modules', analysis.modules.cv, percentText, 'CV of module means'],
        ['Largest module step', analysis.modules.largest_step, percentText, 'neighbors, of the mean'],
        ['Seams, RMS', analysis.seam_rms, percentText, 'step across a seam']);
  }
  figures.push(
      ['Dead LEDs', counts.dead, countText],
      ['Dim LEDs', counts.dim, countText],
      ['Bright LEDs', counts.bright, countText]);
  return figures;
}

function figureTiles(figures) {
  return make('dl', { class: 'tiles' }, figures.map(([label, value, format, remark]) =>
    make('div', {}, make('dt', {}, label),
        make('dd', {}, number(value, format), remark ? make('small', {}, remark) : null))));
}

function figureTable(results) {
  const columns = results.map((result) => figuresOf(result.analysis));
  const labels = [...new Set(columns.flat().map(([label]) => label))];
  const head = make('tr', {}, make('th', { scope: 'col', class: 'text' }, 'Figure'),
      results.map((result) => make('th', { scope: 'col', class: 'file-name' }, result.file)));
  const rows = labels.map((label) => make('tr', {}, make('th', { scope: 'row', class: 'text' }, label),
      columns.map((figures) => {
        const figure = figures.find(([name]) => name === label);
        return make('td', {}, figure ? number(figure[1], figure[2]) : NOT_KNOWN);
      })));
  const table = make('table', { class: 'list' }, make('thead', {}, head), make('tbody', {}, rows));
  return tableBox('Figures of all results', table, 'is-whole');
}

function showOverview(report) {
  const { results } = report;
  const isSingle = results.length === 1;
  byId('overview-body').append(isSingle ? figureTiles(figuresOf(results[0].analysis)) : figureTable(results));
}
