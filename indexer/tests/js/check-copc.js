// Reads a COPC file that `lumaro index` wrote with readers written by others: copc.js walks every
// hierarchy page and decodes every node (through laz-perf's chunk decoder), and laz-perf's LAZ
// reader decodes the whole file through its chunk table. Both must give exactly the points of
// the LAS files the COPC file was made from (read here by hand), each node's points must lie in
// its cube, and the header's count, bounds and GPS range must be the points' own.
//   node check-copc.js FILE.copc.laz SOURCE.las... [--child-pages]
'use strict';

const fs = require('fs');
const { Copc, Las } = require('copc');

function fail(message) {
  console.error('check-copc: ' + message);
  process.exit(1);
}

// The points of an uncompressed LAS file (formats 0 to 10) as the fields of formats 6 to 8, their
// coordinates on the grid of `scale` and `offset`, one text per point.
function lasPoints(file, scale, offset) {
  const bytes = fs.readFileSync(file);
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  const minor = view.getUint8(25);
  const start = view.getUint32(96, true);
  const format = view.getUint8(104) & 0x3f;
  const length = view.getUint16(105, true);
  let count = view.getUint32(107, true);
  if (minor >= 4 && view.getBigUint64(247, true) > 0n) count = Number(view.getBigUint64(247, true));
  const own = [0, 1, 2].map((a) => [view.getFloat64(131 + 8 * a, true), view.getFloat64(155 + 8 * a, true)]);
  const gpsAt = format === 0 || format === 2 ? -1 : format < 6 ? 20 : 22;
  const rgbAt = [2, 3, 5, 7, 8, 10].includes(format) ? (format === 2 ? 20 : format < 6 ? 28 : 30) : -1;
  const points = [];
  for (let i = 0; i < count; ++i) {
    const p = start + i * length;
    const xyz = [0, 1, 2].map((a) => {
      const world = view.getInt32(p + 4 * a, true) * own[a][0] + own[a][1];
      return Math.round((world - offset[a]) / scale[a]);
    });
    const b14 = view.getUint8(p + 14);
    const b15 = view.getUint8(p + 15);
    let fields;
    if (format < 6) {
      fields = [b14 & 7, (b14 >> 3) & 7, (b15 >> 5) & 7, 0, (b14 >> 6) & 1, b14 >> 7, b15 & 31, view.getUint8(p + 17),
                Math.round(view.getInt8(p + 16) / 0.006), view.getUint16(p + 18, true)];
    } else {
      fields = [b14 & 15, b14 >> 4, b15 & 15, (b15 >> 4) & 3, (b15 >> 6) & 1, b15 >> 7, view.getUint8(p + 16),
                view.getUint8(p + 17), view.getInt16(p + 18, true), view.getUint16(p + 20, true)];
    }
    const gps = gpsAt < 0 ? 0 : view.getFloat64(p + gpsAt, true);
    const rgb = rgbAt < 0 ? [0, 0, 0] : [0, 1, 2].map((c) => view.getUint16(p + rgbAt + 2 * c, true));
    points.push([...xyz, view.getUint16(p + 12, true), ...fields, gps, ...rgb].join(' '));
  }
  return points;
}

function keyBounds(key, cube) {
  const [d, x, y, z] = key.split('-').map(Number);
  const edge = (cube[3] - cube[0]) / 2 ** d;
  const min = [cube[0] + x * edge, cube[1] + y * edge, cube[2] + z * edge];
  return { min, max: min.map((m) => m + edge) };
}

async function main() {
  const args = process.argv.slice(2);
  const wantChildPages = args.includes('--child-pages');
  const [file, ...sources] = args.filter((a) => a !== '--child-pages');
  const copc = await Copc.create(file);
  const { header, info } = copc;
  if (header.majorVersion !== 1 || header.minorVersion !== 4) fail(`LAS ${header.majorVersion}.${header.minorVersion}, not 1.4`);
  if (![6, 7, 8].includes(header.pointDataRecordFormat)) fail(`point format ${header.pointDataRecordFormat}`);

  // Every page, from the root page down.
  const nodes = {};
  const pages = [info.rootHierarchyPage];
  let pagesRead = 0;
  while (pages.length > 0) {
    const page = await Copc.loadHierarchyPage(file, pages.pop());
    ++pagesRead;
    Object.assign(nodes, page.nodes);
    pages.push(...Object.values(page.pages));
  }
  if (wantChildPages && pagesRead < 2) fail('the hierarchy has no child pages');
  for (const key of Object.keys(nodes)) {
    const [d, x, y, z] = key.split('-').map(Number);
    if (d > 0 && !nodes[[d - 1, x >> 1, y >> 1, z >> 1].join('-')]) fail(`node ${key} has no parent in the hierarchy`);
  }

  // Every node, decoded on its own; its points inside its cube.
  const half = header.scale.map((s) => s / 2);
  const dimensions = ['Intensity', 'ReturnNumber', 'NumberOfReturns', 'Synthetic', 'KeyPoint', 'Withheld', 'Overlap',
                      'ScannerChannel', 'ScanDirectionFlag', 'EdgeOfFlightLine', 'Classification', 'UserData'];
  const fromNodes = [];
  const recordsOfNodes = [];
  let low = [Infinity, Infinity, Infinity];
  let high = [-Infinity, -Infinity, -Infinity];
  let gpsLow = Infinity;
  let gpsHigh = -Infinity;
  for (const [key, node] of Object.entries(nodes)) {
    if (!node || node.pointCount === 0) continue;
    const view = await Copc.loadPointDataView(file, copc, node);
    if (view.pointCount !== node.pointCount) fail(`node ${key}: ${view.pointCount} points, the hierarchy says ${node.pointCount}`);
    const get = Object.fromEntries(['X', 'Y', 'Z', ...dimensions, 'ScanAngle', 'PointSourceId', 'GpsTime']
      .map((name) => [name, view.getter(name)]));
    const hasColor = header.pointDataRecordFormat !== 6;
    const colors = hasColor ? ['Red', 'Green', 'Blue'].map((name) => view.getter(name)) : [];
    const bounds = keyBounds(key, info.cube);
    for (let i = 0; i < view.pointCount; ++i) {
      const world = [get.X(i), get.Y(i), get.Z(i)];
      for (let a = 0; a < 3; ++a) {
        if (world[a] < bounds.min[a] - half[a] || world[a] > bounds.max[a] + half[a]) {
          fail(`node ${key}: point ${i} at ${world} lies outside its cube ${bounds.min}..${bounds.max}`);
        }
        low[a] = Math.min(low[a], world[a]);
        high[a] = Math.max(high[a], world[a]);
      }
      const gps = get.GpsTime(i);
      gpsLow = Math.min(gpsLow, gps);
      gpsHigh = Math.max(gpsHigh, gps);
      const xyz = world.map((w, a) => Math.round((w - header.offset[a]) / header.scale[a]));
      const fields = [
        get.Intensity(i), get.ReturnNumber(i), get.NumberOfReturns(i),
        get.Synthetic(i) | (get.KeyPoint(i) << 1) | (get.Withheld(i) << 2) | (get.Overlap(i) << 3),
        get.ScannerChannel(i), get.ScanDirectionFlag(i), get.EdgeOfFlightLine(i), get.Classification(i), get.UserData(i),
        Math.round(get.ScanAngle(i) / 0.006), get.PointSourceId(i), gps,
        ...(hasColor ? colors.map((c) => c(i)) : [0, 0, 0]),
      ];
      fromNodes.push([...xyz, ...fields].join(' '));
    }
    const raw = await Copc.loadPointDataBuffer(file, header, node);
    for (let i = 0; i < node.pointCount; ++i) {
      const record = raw.subarray(i * header.pointDataRecordLength, (i + 1) * header.pointDataRecordLength);
      recordsOfNodes.push(Buffer.from(record).toString('hex'));
    }
  }

  if (fromNodes.length !== header.pointCount) fail(`the nodes hold ${fromNodes.length} points, the header counts ${header.pointCount}`);
  for (let a = 0; a < 3; ++a) {
    if (low[a] !== header.min[a] || high[a] !== header.max[a]) {
      fail(`axis ${a}: the points span ${low[a]}..${high[a]}, the header says ${header.min[a]}..${header.max[a]}`);
    }
  }
  if (gpsLow !== info.gpsTimeRange[0] || gpsHigh !== info.gpsTimeRange[1]) {
    fail(`GPS times span ${gpsLow}..${gpsHigh}, the COPC record says ${info.gpsTimeRange}`);
  }

  // The whole file as one LAZ stream, through its chunk table: the same records.
  const whole = await Las.PointData.decompressFile(fs.readFileSync(file));
  const recordsOfFile = [];
  for (let i = 0; i < header.pointCount; ++i) {
    recordsOfFile.push(Buffer.from(whole.subarray(i * header.pointDataRecordLength, (i + 1) * header.pointDataRecordLength)).toString('hex'));
  }
  recordsOfNodes.sort();
  recordsOfFile.sort();
  for (let i = 0; i < recordsOfFile.length; ++i) {
    if (recordsOfFile[i] !== recordsOfNodes[i]) fail('the file read whole holds other records than its nodes');
  }

  // The points of the sources, exactly once each.
  const expected = sources.flatMap((source) => lasPoints(source, header.scale, header.offset)).sort();
  fromNodes.sort();
  if (expected.length !== fromNodes.length) fail(`${fromNodes.length} points, the sources hold ${expected.length}`);
  for (let i = 0; i < expected.length; ++i) {
    if (expected[i] !== fromNodes[i]) fail(`a point differs from the sources: ${fromNodes[i]} where ${expected[i]} was expected`);
  }
  console.log(`check-copc: ${file}: ${fromNodes.length} points in ${Object.keys(nodes).length} nodes and ${pagesRead} pages agree with ${sources.length} source files`);
}

main().catch((error) => fail(error.stack || String(error)));
