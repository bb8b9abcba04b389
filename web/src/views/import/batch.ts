// Several files that go into one project: each is tried first, then what the person wants is stored.

import {signal, type Signal} from '@preact/signals';
import {NoAnswer, type Fault, type ImportReply, type QueryOf} from 'korvane-client';

import {project} from '../../server/server';

export type IfFilled = 'replace' | 'append' | 'skip';

/** refused: nothing in it can be stored. left: the person did not want it. stopped: its turn did not come. */
export type Phase =
  'waiting' | 'checking' | 'checked' | 'refused' | 'failed' | 'storing' | 'stored' | 'left' | 'stopped';

export interface ItemState {
  phase: Phase;
  /** The part that has been sent. */
  sent: number;
  /** What would be stored. */
  trial: ImportReply | null;
  faults: Fault[];
  failure: unknown;
  /** Whether the failure came while storing: then the file may have been stored all the same. */
  hasFailedLate: boolean;
  storesRest: boolean;
  ifFilled: IfFilled | null;
  result: ImportReply | null;
}

export interface Item {
  file: File;
  state: Signal<ItemState>;
}

export interface Target {
  file: string;
  isNew: boolean;
}

type Planned = ImportReply['revisions'][number];

export function linesOf(revision: Planned): number {
  return revision.bars + revision.fabrics + revision.bar_spacers + revision.mounting_parts;
}

const kFresh: ItemState = {
  phase: 'waiting', sent: 0, trial: null, faults: [], failure: null, hasFailedLate: false, storesRest: false,
  ifFilled: null, result: null,
};

function change(item: Item, changes: Partial<ItemState>): void {
  item.state.value = {...item.state.value, ...changes};
}

export class Batch {
  readonly items: Item[];
  readonly isBusy = signal(false);
  /** Whether the storing is over. */
  readonly isDone = signal(false);
  readonly isStopping = signal(false);

  constructor(readonly target: Target, files: File[]) {
    this.items = files.map((file) => ({file, state: signal<ItemState>({...kFresh})}));
  }

  /** The present file is finished, those after it are not begun. */
  stop(): void {
    this.isStopping.value = true;
  }

  async checkAll(): Promise<void> {
    await this.each(['waiting'], (item) => this.check(item));
  }

  async checkAgain(item: Item): Promise<void> {
    change(item, kFresh);
    this.isDone.value = false;
    this.isStopping.value = false;
    await this.checkAll();
  }

  async storeAll(): Promise<void> {
    await this.each(['checked', 'refused'], (item) => this.store(item));
    for (const item of this.items) {
      if (['waiting', 'checked'].includes(item.state.value.phase)) change(item, {phase: 'stopped'});
    }
    this.isDone.value = true;
  }

  setStoresRest(item: Item, storesRest: boolean): void {
    change(item, {storesRest});
  }

  setIfFilled(item: Item, ifFilled: IfFilled): void {
    change(item, {ifFilled});
  }

  /** Whether something of the file would be stored, unless the person skips it. */
  isWanted(item: Item): boolean {
    const {phase, trial, faults, storesRest} = item.state.value;
    return phase === 'checked' && trial !== null && trial.revisions.length > 0 && (faults.length === 0 || storesRest);
  }

  willStore(item: Item): boolean {
    return this.isWanted(item) && item.state.value.ifFilled !== 'skip';
  }

  /** The revisions of a file that have lines, or will have by the files before it. */
  filledBy(item: Item): {revision: Planned; lines: number}[] {
    const earlier = this.items.slice(0, this.items.indexOf(item))
      .filter((one) => one.state.value.phase === 'stored' || this.willStore(one));
    return (item.state.value.trial?.revisions ?? []).flatMap((revision) => {
      const lines = earlier.flatMap((one) => one.state.value.trial?.revisions ?? [])
        .filter((one) => one.sheet === revision.sheet && one.revision === revision.revision)
        .reduce((sum, one) => sum + linesOf(one), revision.lines_before);
      return lines > 0 ? [{revision, lines}] : [];
    });
  }

  /** Files that wait for a choice of the person's. */
  undecided(): Item[] {
    return this.items.filter((item) =>
      this.isWanted(item) && item.state.value.ifFilled === null && this.filledBy(item).length > 0);
  }

  private async each(phases: Phase[], work: (item: Item) => Promise<boolean>): Promise<void> {
    if (this.isBusy.value) return;
    this.isBusy.value = true;
    try {
      for (const item of this.items) {
        if (this.isStopping.value) break;
        if (phases.includes(item.state.value.phase) && !(await work(item))) break;
      }
    } finally {
      this.isBusy.value = false;
    }
  }

  private send(item: Item, query: QueryOf<'import'>): Promise<ImportReply> {
    const create = this.target.isNew ? {create: true} : {};
    return project(this.target.file).import(item.file, {
      name: item.file.name, ...create, ...query, onProgress: (sent) => change(item, {sent}),
    });
  }

  /** Returns whether to go on with the others. */
  private async check(item: Item): Promise<boolean> {
    change(item, {phase: 'checking', sent: 0});
    try {
      const trial = await this.send(item, {dry_run: true, skip_faulty: true});
      const isUseless = trial.revisions.length === 0 && trial.left_out.length > 0;
      change(item, {phase: isUseless ? 'refused' : 'checked', trial, faults: trial.left_out});
    } catch (failure) {
      change(item, {phase: 'failed', failure});
      return !(failure instanceof NoAnswer);
    }
    return true;
  }

  private async store(item: Item): Promise<boolean> {
    if (!this.willStore(item)) {
      if (item.state.value.phase === 'checked') change(item, {phase: 'left'});
      return true;
    }
    const {faults, ifFilled} = item.state.value;
    const isFilled = this.filledBy(item).length > 0;
    change(item, {phase: 'storing', sent: 0});
    try {
      const result = await this.send(item, {
        ...(faults.length > 0 ? {skip_faulty: true} : {}),
        ...(isFilled && ifFilled === 'replace' ? {replace: true} : {}),
        ...(isFilled && ifFilled === 'append' ? {append: true} : {}),
      });
      change(item, {phase: 'stored', result});
    } catch (failure) {
      change(item, {phase: 'failed', failure, hasFailedLate: true});
      return !(failure instanceof NoAnswer);
    }
    return true;
  }
}
