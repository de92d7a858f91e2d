// Puts the page together.

/** All that is known: `data` for what is drawn, and for each result its analysis, its curves and its map. */
async function readReport() {
  const data = JSON.parse(byId('report-data').textContent);
  const analyses = JSON.parse(byId('analysis').textContent);
  const results = await Promise.all(analyses.map(async (analysis, index) => {
    const drawn = data.results[index];
    const values = floatsOf(drawn.defect_values);
    analysis.defects.forEach((defect, i) => {
      defect.value = values[i];
    });
    drawn.rowMeans = floatsOf(drawn.rows);
    drawn.columnMeans = floatsOf(drawn.columns);
    const matrix = await decodeMap(drawn.map);
    matrix.hasHoles = matrix.values.some(Number.isNaN);
    const defectAt = new Map(analysis.defects.map((defect) => [`${defect.x},${defect.y}`, defect]));
    return { file: analysis.file, analysis, drawn, matrix, defectAt };
  }));
  return { data, results };
}

function showHead({ data, results }) {
  byId('title').textContent = data.title;
  const names = results.map(({ file, analysis }) => `${file} (${sizeText(analysis.size)} LEDs)`);
  byId('subtitle').textContent = names.join(' \u00b7 ');
}

async function main() {
  const report = await readReport();
  chooseLuminanceDecimals(report.results);
  showHead(report);
  showNotices(report);
  showOverview(report);
  const panel = new MapPanel(report);
  showCurves(report);
  showUniformity(report, panel);
  showModules(report, panel);
  showDefects(report, panel);
  showPhotograph(report);
  showDetails(report);
  document.documentElement.dataset.ready = 'true';
}

main().catch((error) => {
  byId('failure').hidden = false;
  byId('failure').textContent = `This page could not be drawn (${error.message}). It needs a browser of 2023 or later.`;
  throw error;
});
