/**
 * Shows the newest JPEG on a canvas. It decodes one at a time, however fast they come, and draws at
 * the canvas' own size, so that a large picture costs no more memory than a small one.
 */

export class Picture {
  #canvas;
  /** @type {Blob|null} */
  #jpeg = null;
  /** Whether the canvas does not show `#jpeg` at its size yet. */
  #isDue = false;
  #isDecoding = false;
  #isVisible = false;

  /** @param {HTMLCanvasElement} canvas blank until a picture comes. */
  constructor(canvas) {
    this.#canvas = canvas;
    canvas.width = canvas.height = 0;
  }

  /** @param {Blob} jpeg */
  show(jpeg) {
    this.#jpeg = jpeg;
    this.#isDue = true;
    this.#draw();
  }

  /** Forgets the picture. */
  clear() {
    this.#jpeg = null;
    this.#canvas.width = this.#canvas.height = 0;
  }

  /** Draws again, for the canvas has another size. */
  resize() {
    this.#isDue = this.#jpeg !== null;
    this.#draw();
  }

  /** What cannot be seen is not decoded, and has no pixels. @param {boolean} isVisible */
  setVisible(isVisible) {
    this.#isVisible = isVisible;
    if (!isVisible) {
      this.#canvas.width = this.#canvas.height = 0;
    }
    this.resize();
  }

  async #draw() {
    if (this.#isDecoding) {
      return;
    }
    this.#isDecoding = true;
    while (this.#isDue && this.#isVisible) {
      const jpeg = /** @type {Blob} */ (this.#jpeg);
      this.#isDue = false;
      // Bytes that only begin like a JPEG are no picture: the last one stays.
      const bitmap = await createImageBitmap(jpeg).catch(() => null);
      if (bitmap && this.#isVisible && this.#jpeg) {
        this.#paint(bitmap);
      }
      bitmap?.close();
    }
    this.#isDecoding = false;
  }

  /** @param {ImageBitmap} bitmap */
  #paint(bitmap) {
    const { clientWidth, clientHeight } = this.#canvas;
    const scale = Math.min(1, devicePixelRatio * Math.min(clientWidth / bitmap.width,
                                                          clientHeight / bitmap.height));
    const width = Math.max(1, Math.round(bitmap.width * scale));
    const height = Math.max(1, Math.round(bitmap.height * scale));
    if (this.#canvas.width !== width || this.#canvas.height !== height) {
      this.#canvas.width = width;
      this.#canvas.height = height;
    }
    const context = /** @type {CanvasRenderingContext2D} */ (
      this.#canvas.getContext('2d', { alpha: false }));
    context.imageSmoothingQuality = 'medium';
    context.drawImage(bitmap, 0, 0, width, height);
  }
}
