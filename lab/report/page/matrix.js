// The map of luminances out of its compressed bytes. lab/report/compressed_map.h describes them.

async function inflate(bytes) {
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

/** The integer codes of all cells, row by row. */
function codesOf(map, bytes) {
  const [width, height] = map.cells;
  const codes = new Int32Array(width * height);
  let bandStart = 0;
  for (let top = 0; top < height; top += map.band_rows) {
    const end = Math.min(height, top + map.band_rows);
    const cells = (end - top) * width;
    for (let y = top; y < end; ++y) {
      for (let x = 0; x < width; ++x) {
        const cell = y * width + x;
        let zigzag = 0;
        let at = bandStart + cell - top * width;
        for (let plane = 0; plane < map.planes; ++plane, at += cells) zigzag = (zigzag << 8) | bytes[at];
        const difference = (zigzag >>> 1) ^ -(zigzag & 1);
        codes[cell] = predicted(codes, width, x, y) + difference;
      }
    }
    bandStart += cells * map.planes;
  }
  return codes;
}

function predicted(codes, width, x, y) {
  const cell = y * width + x;
  if (y === 0) return x === 0 ? 0 : codes[cell - 1];
  const n = codes[cell - width];
  const w = x > 0 ? codes[cell - 1] : n;
  const nw = x > 0 ? codes[cell - width - 1] : n;
  const ne = x + 1 < width ? codes[cell - width + 1] : n;
  return Math.floor((w + nw + n + ne) / 4);
}

/** The values of the codes as 32-bit floats, NaN where nothing was measured. */
function valuesOf(map, codes) {
  if (!map.exact) {
    const values = new Float32Array(codes.length);
    for (let i = 0; i < codes.length; ++i) values[i] = codes[i] === 0 ? NaN : map.low + (codes[i] - 1) * map.step;
    return values;
  }
  const notMeasured = -2147483648;
  for (let i = 0; i < codes.length; ++i) {
    if (codes[i] === notMeasured) {
      codes[i] = 0x7fc00000;
    } else if (codes[i] < 0) {
      codes[i] ^= 0x7fffffff;
    }
  }
  return new Float32Array(codes.buffer);
}

/** The map with `values`, one for each cell, row by row. */
async function decodeMap(map) {
  const bytes = await inflate(bytesOf(map.bytes));
  map.bytes = '';  // the text is not needed any more and may be large
  const [width, height] = map.cells;
  return {
    width,
    height,
    block: map.block,
    exact: map.exact,
    step: map.step,
    values: valuesOf(map, codesOf(map, bytes)),
  };
}
