/** Takes the picture of the wall for tools/wall_picture, which says what it needs. */

import { launchBrowser, paintPictures } from '../tests/viewerctl/browser/browser.mjs';
import { ScriptedHost } from '../tests/viewerctl/browser/scripted-host.mjs';
import { WallProgram } from '../tests/viewerctl/browser/wall-program.mjs';

/** Groups of machines, and what their displays show: a desktop's colour and its windows. */
const room = {
  'Control room': [
    ['Dispatch', [['Left', 210, ['chart', 'sheet']], ['Right', 210, ['map']]]],
    ['Planning', [['DELL U2720Q', 160, ['sheet', 'page']]]],
    ['Shift lead', [['Built-in Display', 260, ['terminal', 'page']]]],
    ['Gate', [['HDMI-1', 70, ['map', 'chart']]]]],
  Hall: [
    ['Video wall', [['Top left', 20, ['slide']], ['Top', 200, ['chart']], ['Top right', 120, ['map']],
                    ['Bottom left', 280, ['slide']], ['Bottom right', 180, ['chart', 'chart']]]]],
  Workshop: [
    ['Bench 1', [['HDMI-1', 230, ['code', 'terminal']]]],
    ['Bench 2', [['EIZO EV2785', 30, ['code']], ['HDMI-2', 30, ['terminal']]]],
    ['Assembly', [['DP-1', 100, ['page', 'sheet']]]],
    ['Store', [['DELL P2419H', 300, ['sheet']]]]],
};
const dead = 'Assembly';
/** What moves meanwhile: machine and number of the display. */
const moving = [['Dispatch', 0], ['Shift lead', 0], ['Bench 1', 0], ['Video wall', 1]];
const lookingTime = 64000; // milliseconds until the picture is taken

/** A desktop of 640 × 360 pixels. @param {CanvasRenderingContext2D} context */
function paintDesktop(context, [hue, windows, step]) {
  const rectangle = (colour, ...place) => {
    context.fillStyle = colour;
    context.fillRect(...place);
  };
  // The same desktop has the same content each time.
  let seed = hue * 7919 + 17;
  const chance = () => (seed = (seed * 48271) % 2147483647) / 2147483647;
  const colours = ['#4e79a7', '#f28e2b', '#59a14f', '#e15759', '#76b7b2', '#b07aa1'];

  /** Lines of words, the last as far as it has come. */
  const write = (left, top, width, height, inks, indents) => {
    for (let y = top; y < top + height - 5; y += 6) {
      let x = left + (indents ? 8 * Math.floor(4 * chance()) : 0);
      const end = left + width * (0.35 + 0.6 * chance());
      while (x < end - 4) {
        const word = Math.min(6 + 24 * chance(), end - x);
        rectangle(inks[Math.floor(inks.length * chance())], x, y, word, 2);
        x += word + 3;
      }
    }
  };
  const paint = {
    code(x, y, w, h) {
      rectangle('#1f2430', x, y, w, h);
      rectangle('#191d27', x, y, 60, h);
      write(x + 6, y + 8, 46, h - 60, ['#6b7385']);
      write(x + 70, y + 8, w - 80, h - 12, ['#c8ccd4', '#c792ea', '#82aaff', '#c3e88d', '#f78c6c'], true);
    },
    terminal(x, y, w, h) {
      rectangle('#0c0f12', x, y, w, h);
      write(x + 6, y + 6, w - 12, h - 12 - 6 * (3 - step), ['#9fd49f', '#c9d1d9', '#8b949e']);
    },
    page(x, y, w, h) {
      rectangle('#fbfbf8', x, y, w, h);
      rectangle('#2b3a55', x + 14, y + 10, w * 0.5, 6);
      write(x + 14, y + 24, w - 28, h - 30, ['#555b66']);
    },
    sheet(x, y, w, h) {
      rectangle('#ffffff', x, y, w, h);
      rectangle('#e3ebe4', x, y, w, 9);
      for (let row = y + 9; row < y + h - 6; row += 9) {
        rectangle('#dfe3e8', x, row, w, 1);
        for (let cell = x + 4; cell < x + w - 20; cell += 38) {
          rectangle(chance() < 0.12 ? '#c0504d' : '#6b7380', cell, row + 4, 8 + 20 * chance(), 2);
        }
      }
    },
    chart(x, y, w, h) {
      rectangle('#171c26', x, y, w, h);
      for (let line = 0; line < 3; ++line) {
        context.strokeStyle = colours[line];
        context.lineWidth = 1.6;
        context.beginPath();
        for (let at = 0, value = 0.3 + 0.2 * line; at <= w * 0.62; at += 5) {
          value = Math.min(0.95, Math.max(0.05, value + 0.14 * (chance() - 0.5)));
          context.lineTo(x + 10 + at, y + h - 10 - (h - 24) * value + (at > w * 0.5 ? 5 * step : 0));
        }
        context.stroke();
      }
      for (let bar = 0; bar < 6; ++bar) {
        const length = (h - 40) * (0.25 + 0.7 * chance());
        rectangle(colours[bar], x + w * 0.7 + bar * w * 0.045, y + h - 10 - length, w * 0.03, length);
      }
    },
    map(x, y, w, h) {
      rectangle('#dfe8d8', x, y, w, h);
      rectangle('#a9cbe8', x, y + h * 0.62, w, h * 0.16);
      context.strokeStyle = '#ffffff';
      for (let road = 0; road < 12; ++road) {
        context.lineWidth = road < 3 ? 5 : 2;
        context.beginPath();
        context.moveTo(x + w * chance(), y);
        context.lineTo(x + w * chance(), y + h);
        context.moveTo(x, y + h * chance());
        context.lineTo(x + w, y + h * chance());
        context.stroke();
      }
      for (let place = 0; place < 9; ++place) {
        context.fillStyle = colours[place % 6];
        context.beginPath();
        context.arc(x + w * chance(), y + h * chance(), 5, 0, 7);
        context.fill();
      }
    },
    slide(x, y, w, h) {
      rectangle(`hsl(${hue} 45% 22%)`, x, y, w, h);
      rectangle('#ffffff', x + w * 0.08, y + h * 0.18, w * 0.52, 16);
      rectangle(`hsl(${hue} 60% 70%)`, x + w * 0.08, y + h * 0.3, w * 0.36, 7);
      for (let point = 0; point < 4; ++point) {
        rectangle('#e6e9ef', x + w * 0.11, y + h * (0.45 + 0.1 * point), w * (0.2 + 0.2 * chance()), 5);
      }
      rectangle(`hsl(${hue} 50% 55%)`, x + w * 0.66, y + h * 0.4, w * 0.24, h * 0.4);
    },
  };

  const sky = context.createLinearGradient(0, 0, 640, 360);
  sky.addColorStop(0, `hsl(${hue} 35% 42%)`);
  sky.addColorStop(1, `hsl(${hue + 40} 45% 20%)`);
  rectangle(sky, 0, 0, 640, 360);
  rectangle('#14181ee6', 0, 344, 640, 16);
  colours.forEach((colour, index) => rectangle(colour, 8 + 16 * index, 348, 9, 8));
  write(590, 349, 44, 8, ['#cfd6df']);
  windows.forEach((kind, index) => {
    const isAlone = windows.length === 1;
    const [x, y, w, h] = isAlone ? [12, 8, 616, 328] : [[14, 12, 390, 250], [240, 88, 388, 244]][index];
    rectangle('#00000055', x + 3, y + 4, w, h);
    rectangle('#d8dde4', x, y, w, 11);
    rectangle('#5a6472', x + 6, y + 4, 60, 3);
    rectangle('#c0504d', x + w - 10, y + 3, 5, 5);
    paint[kind](x, y + 11, w, h - 11);
  });
}

const browser = await launchBrowser();
const hosts = [];
const lines = [];
for (const [group, machines] of Object.entries(room)) {
  lines.push(`${group}:`);
  for (const [machine, displays] of machines) {
    const subjects = displays.flatMap(([, ...about]) => [0, 1, 2].map((step) => [...about, step]));
    const painted = await paintPictures(browser, subjects, paintDesktop);
    const host = await ScriptedHost.start(machine, displays.map(([name], index) => ({
      name, picture: painted[3 * index] })));
    hosts.push({ host, painted });
    lines.push(host.address);
  }
}
const hostOf = (name) => hosts.find(({ host }) => host.machine === name);
let step = 0;
const movement = setInterval(() => {
  step = (step + 1) % 3;
  for (const [machine, index] of moving) {
    const { host, painted } = hostOf(machine);
    host.show(index, painted[3 * index + step]);
  }
}, 700);

const program = await WallProgram.start(lines.join('\n'));
const page = await browser.newPage({ viewport: { width: 1280, height: 700 }, colorScheme: 'dark' });
await page.addInitScript(() => sessionStorage.setItem('settings', '{"size":200}'));
await page.goto(program.url);
const sleep = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));
await sleep(lookingTime);
await hostOf(dead).host.fail();
await page.locator('[data-kind="failed"]').waitFor();
await sleep(2000); // until what fades has faded
await page.screenshot({ path: process.argv[2], type: 'jpeg', quality: 82 });

clearInterval(movement);
await browser.close();
await program.stop();
await Promise.all(hosts.filter(({ host }) => host.machine !== dead).map(({ host }) => host.fail()));
