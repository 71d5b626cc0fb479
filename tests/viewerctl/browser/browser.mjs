/** The browser of the tests, and pictures that it makes. */

import { createRequire } from 'node:module';

// NODE_PATH leads to the packages, which are in the build's folder; import does not look there.
const { chromium } = createRequire(import.meta.url)('playwright-core');

/** Debian's Chromium, without a window. @returns {Promise<import('playwright-core').Browser>} */
export function launchBrowser() {
  return chromium.launch({
    executablePath: '/usr/bin/chromium',
    // The browser's own sandbox does not work for root.
    args: process.getuid() === 0 ? ['--no-sandbox'] : [] });
}

/**
 * JPEGs of 640 × 360 pixels.
 * @template Subject
 * @param {import('playwright-core').Browser} browser @param {Subject[]} subjects
 * @param {(context: CanvasRenderingContext2D, subject: Subject) => void} paint runs in the browser.
 * @returns {Promise<Buffer[]>} one of each subject.
 */
export async function paintPictures(browser, subjects, paint) {
  const page = await browser.newPage();
  const urls = await page.evaluate(([all, source]) => {
    const painter = new Function(`return ${source}`)();
    return all.map((subject) => {
      const canvas = Object.assign(document.createElement('canvas'), { width: 640, height: 360 });
      painter(canvas.getContext('2d'), subject);
      return canvas.toDataURL('image/jpeg', 0.8);
    });
  }, [subjects, String(paint)]);
  await page.close();
  return urls.map((url) => Buffer.from(url.split(',')[1], 'base64'));
}
