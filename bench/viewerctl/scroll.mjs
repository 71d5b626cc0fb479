/**
 * Scrolls a wall of many displays from end to end and back in a real browser, while pictures come,
 * and tells the longest task that kept the page from going on. Started by bench/viewerctl/scroll.
 */

import http from 'node:http';

import { launchBrowser, paintPictures } from '../../tests/viewerctl/browser/browser.mjs';
import { WallProgram } from '../../tests/viewerctl/browser/wall-program.mjs';

const tiles = 1000;
const allowed = 100; // milliseconds
/** Pixels that are scrolled with each frame: as someone reads, and as fast as a wheel goes. */
const paces = [40, 400];
const labelStem = '0123456789abcdef0123456789abcdef-fedcba9876543210fedcba9876543210-';

/** Pictures as desktops are: windows with text. @param {CanvasRenderingContext2D} context */
function paintDesktop(context, number) {
  context.fillStyle = `hsl(${number * 29} 40% 30%)`;
  context.fillRect(0, 0, 640, 360);
  for (let window = 0; window < 5; ++window) {
    context.fillStyle = `hsl(${number * 29 + window * 40} 20% ${90 - window * 8}%)`;
    context.fillRect(30 + window * 80, 20 + window * 40, 260, 150);
    context.fillStyle = '#222';
    context.font = '11px monospace';
    for (let line = 0; line < 10; ++line) {
      context.fillText(`${number}:${window}:${line} the quick brown fox jumps over`,
                       36 + window * 80, 36 + window * 40 + line * 13);
    }
  }
}

/** Hosts with one display each, on ports of their own; every frame is another. */
async function startHosts(pictures) {
  let count = 0;
  const answer = (request, response) => {
    const isFrame = request.url.startsWith('/viewer/v1/frame');
    const body = isFrame ? pictures[count % pictures.length] : JSON.stringify({
      protocol: 'Velmora.Windows.ViewerHost', version: 1,
      machineName: `Machine ${request.socket.localPort}`,
      displays: [{ id: 'macos-display:1', name: 'Screen', width: 1920, height: 1080 }] });
    response.writeHead(200, {
      'Content-Type': isFrame ? 'image/jpeg' : 'application/json', Connection: 'close',
      'Content-Length': Buffer.byteLength(body),
      ...(isFrame ? { 'X-Velmora-Frame': labelStem + ++count } : {}) });
    response.end(body);
  };
  const servers = await Promise.all(Array.from({ length: tiles }, () => new Promise((resolve) => {
    const server = http.createServer(answer).listen(0, '127.0.0.1', () => resolve(server));
  })));
  const lines = servers.map((server, index) =>
    `${index % 100 === 0 ? `Room ${index / 100 + 1}:\n` : ''}127.0.0.1:${server.address().port}`);
  return { servers, hostsFile: lines.join('\n') };
}

/** Tasks of the page's that took 50 ms or more, which is when a browser tells of them. */
async function watchTasks(page) {
  await page.addInitScript(() => {
    globalThis.tasks = [];
    const note = (list) =>
      globalThis.tasks.push(...list.getEntries().map(({ duration }) => duration));
    new PerformanceObserver(note).observe({ type: 'longtask', buffered: true });
  });
}

/** @param {number} pace pixels a frame. @returns {Promise<object>} times in milliseconds. */
function scroll(page, pace) {
  return page.evaluate(async (step) => {
    globalThis.tasks.length = 0;
    const gaps = [];
    const nextFrame = () => new Promise(requestAnimationFrame);
    let last = await nextFrame();
    for (const direction of [1, -1]) {
      for (let before = -1; before !== scrollY;) {
        before = scrollY;
        scrollBy(0, direction * step);
        const now = await nextFrame();
        gaps.push(now - last);
        last = now;
      }
    }
    gaps.sort((one, other) => one - other);
    return { frames: gaps.length, median: gaps[gaps.length >> 1], longestGap: gaps[gaps.length - 1],
             tasks: globalThis.tasks.length, longestTask: Math.max(0, ...globalThis.tasks) };
  }, pace);
}

const browser = await launchBrowser();
const pictures = await paintPictures(browser, Array.from({ length: 50 }, (_, each) => each),
                                     paintDesktop);
const { servers, hostsFile } = await startHosts(pictures);
const program = await WallProgram.start(hostsFile);
const page = await browser.newPage({ viewport: { width: 1280, height: 800 } });
let longest = 0;
try {
  await watchTasks(page);
  await page.goto(program.url);
  await page.waitForFunction((count) =>
    document.querySelectorAll('.display:not(:empty)').length === count, tiles, { timeout: 120000 });
  const building = await page.evaluate(() => Math.max(0, ...globalThis.tasks));
  console.log(`${tiles} tiles; tasks below 50 ms are told of as 0`);
  console.log(`until all hosts have answered: longest task ${building.toFixed(0)} ms`);
  for (const pace of paces) {
    const { frames, median, longestGap, tasks, longestTask } = await scroll(page, pace);
    longest = Math.max(longest, longestTask);
    console.log(`${pace} px a frame: ${frames} frames, ${median.toFixed(1)} ms each (median), `
      + `${longestGap.toFixed(0)} ms at most; ${tasks} tasks of 50 ms or more, `
      + `the longest ${longestTask.toFixed(0)} ms`);
  }
} finally {
  await browser.close();
  await program.stop();
  servers.forEach((server) => server.close());
}
console.log(longest <= allowed ? `no task over ${allowed} ms` : `a task over ${allowed} ms`);
process.exitCode = longest <= allowed ? 0 : 1;
