/** The built velmora-viewerctl, serving a wall. */

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import readline from 'node:readline';

const program = process.env.VELMORA_VIEWERCTL;

export class WallProgram {
  #process;

  /** @param {string} hostsFile its text. */
  static async start(hostsFile) {
    const wall = new WallProgram();
    wall.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'wall-test-'));
    const hosts = path.join(wall.folder, 'room.hosts');
    fs.writeFileSync(hosts, hostsFile);
    wall.#process = spawn(program, ['wall', '--no-browser', '--hosts', hosts], {
      stdio: ['ignore', 'pipe', 'inherit'],
      env: { PATH: process.env.PATH, LC_ALL: 'C.UTF-8', XDG_RUNTIME_DIR: wall.folder } });
    const ended = once(wall.#process, 'exit').then(() => {
      throw new Error(`${program} has ended`);
    });
    [wall.file] = await Promise.race([
      once(readline.createInterface(wall.#process.stdout), 'line'), ended]);
    ended.catch(() => {}); // that it ends later is right
    /** With the token in it. */
    wall.url = fs.readFileSync(wall.file, 'utf8').match(/http:[^"]*/)[0];
    wall.origin = new URL(wall.url).origin;
    return wall;
  }

  async stop() {
    if (this.#process.exitCode === null && this.#process.signalCode === null) {
      this.#process.kill('SIGINT');
      await once(this.#process, 'exit');
    }
    fs.rmSync(this.folder, { recursive: true });
  }

  /** Ends as with Ctrl-C. */
  async interrupt() {
    this.#process.kill('SIGINT');
    await once(this.#process, 'exit');
  }
}
