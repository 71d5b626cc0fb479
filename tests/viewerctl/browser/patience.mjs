/** How long a test waits for what it needs to see. */

/** Longer than anything that goes well takes, on a busy machine too. */
export const patience = 60000; // milliseconds

/**
 * @template Result
 * @param {Promise<Result>} promise @param {() => string} what it waits for, as it is at the end.
 * @returns {Promise<Result>}
 */
export async function inTime(promise, what) {
  let timer;
  const end = new Promise((_, reject) => {
    timer = setTimeout(() => reject(new Error(`in vain: ${what()}`)), patience);
  });
  try {
    return await Promise.race([promise, end]);
  } finally {
    clearTimeout(timer);
  }
}
