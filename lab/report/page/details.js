// The photograph, and what is known of files and parameters.

function factList(facts) {
  const items = facts.flatMap(([name, value]) => [make('dt', {}, name), make('dd', {}, value)]);
  return make('dl', { class: 'facts' }, items);
}

function outlineOver(photograph) {
  const points = photograph.outline.map(([x, y]) => `${x + 0.5},${y + 0.5}`).join(' ');
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.setAttribute('viewBox', `0 0 ${photograph.size[0]} ${photograph.size[1]}`);
  svg.setAttribute('aria-hidden', 'true');
  for (const name of ['halo', 'line']) {
    const polygon = document.createElementNS('http://www.w3.org/2000/svg', 'polygon');
    polygon.setAttribute('class', name);
    polygon.setAttribute('points', points);
    svg.append(polygon);
  }
  return svg;
}

function showPhotograph({ data }) {
  const { photograph } = data;
  if (!photograph) return;
  byId('photograph').hidden = false;
  const hasOutline = photograph.outline.length > 0;
  const [width, height] = photograph.size;
  const outline = hasOutline ? photograph.outline.map(pairText).join('; ') : 'none';
  const alt = `Photograph ${photograph.file}, ${width} by ${height} pixels. Outline of the screen: ${outline}.`;
  const image = make('img', { src: `data:image/jpeg;base64,${photograph.jpeg}`, alt, width, height });
  byId('photograph-body').append(
      make('div', { class: 'photograph' }, image, hasOutline ? outlineOver(photograph) : null),
      factList([
        ['File', photograph.file],
        ['Pixels', sizeText(photograph.size)],
        ['Outline', outline],
        ['Source of the outline', photograph.outline_source],
        ...photograph.facts,
      ]));
}

function showDetails(report) {
  const { data } = report;
  forEachResult(report, 'details-body', (result) => {
    const { analysis, drawn } = result;
    const total = analysis.size[0] * analysis.size[1];
    const border = drawn.copied_border > 0 ? `outer ${drawn.copied_border} rows and columns on each side` : 'none';
    return [factList([
      ['File', result.file],
      ['LEDs', `${sizeText(analysis.size)} (${countText(total)})`],
      ['LEDs that count', countText(analysis.counted)],
      ['Copied border', border],
      ...drawn.facts,
      ...drawn.parameters,
    ])];
  });
  byId('made-by').textContent =
    `Made by dravix ${data.version}. This page is complete in itself and asks nothing of any network.`;
}
