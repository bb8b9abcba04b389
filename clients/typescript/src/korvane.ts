// A server.

import {Project, type CallOptions} from './project.js';
import {Sender, type SenderOptions} from './sender.js';
import type {Access, ProjectFile} from './types.js';

/** A server of projects. It keeps no connection and no state: there may be as many as one likes. */
export class Korvane {
  readonly #sender: Sender;

  constructor(options: SenderOptions) {
    this.#sender = new Sender(options);
  }

  /** The project of that file in the server's folder, "halls/a 7.db". Asks the server nothing: it need
   * not be there yet. */
  project(file: string): Project {
    return new Project(this.#sender, file);
  }

  /** The project files in the server's folder. */
  async projects(options: CallOptions = {}): Promise<ProjectFile[]> {
    return (await this.#get<{projects: ProjectFile[]}>('/v1/projects', options)).projects;
  }

  /** Who the client is to the server, and what it may do. */
  access(options: CallOptions = {}): Promise<Access> {
    return this.#get<Access>('/v1/access', options);
  }

  #get<T>(path: string, options: CallOptions): Promise<T> {
    return this.#sender.send({method: 'GET', path, signal: options.signal, isRepeatable: true},
                             async (response) => JSON.parse(await response.text()) as T);
  }
}
