/** The arrow keys go from tile to tile as they lie on the screen. */

/** @param {HTMLElement} tile @param {HTMLElement[]} behind those in that direction, the next first. */
function inNextRow(tile, behind) {
  const top = behind.find(({ offsetTop }) => offsetTop !== tile.offsetTop)?.offsetTop;
  const first = behind.findIndex(({ offsetTop }) => offsetTop === top);
  const beyond = behind.findIndex(({ offsetTop }, index) => index > first && offsetTop !== top);
  const row = first < 0 ? [] : behind.slice(first, beyond < 0 ? undefined : beyond);
  const distance = (each) => Math.abs(each.offsetLeft - tile.offsetLeft);
  return row.sort((one, other) => distance(one) - distance(other))[0];
}

/** @param {HTMLElement} wall */
export function followArrows(wall) {
  wall.addEventListener('keydown', (event) => {
    const tile = /** @type {HTMLElement} */ (event.target).closest('li');
    if (!tile || event.altKey || event.ctrlKey || event.metaKey) {
      return;
    }
    const tiles = /** @type {HTMLElement[]} */ (
      [...wall.querySelectorAll('section:not([hidden]) li:not([hidden])')]);
    const index = tiles.indexOf(tile);
    const next = {
      ArrowLeft: () => tiles[index - 1],
      ArrowRight: () => tiles[index + 1],
      ArrowUp: () => inNextRow(tile, tiles.slice(0, index).reverse()),
      ArrowDown: () => inNextRow(tile, tiles.slice(index + 1)),
      Home: () => tiles[0],
      End: () => tiles[tiles.length - 1],
    }[event.key]?.();
    if (next) {
      event.preventDefault();
      next.querySelector('button')?.focus();
    }
  });
}
