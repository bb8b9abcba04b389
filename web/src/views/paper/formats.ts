// What the server makes of a project for paper and for other programs.

import {ServerError, type Kind, type QueryOf} from 'korvane-client';

import {project} from '../../server/server';

export const formats = ['html', 'pdf', 'xlsx', 'csv', 'bvbs', 'json', 'ndjson'] as const;
export type Format = (typeof formats)[number];

/** What files are called by those who open them. */
const kExtensions: Record<Format, string> = {
  html: 'html', pdf: 'pdf', xlsx: 'xlsx', csv: 'csv', bvbs: 'abs', json: 'json', ndjson: 'ndjson',
};

export function extensionOf(format: Format): string {
  return kExtensions[format];
}

export function isOfPages(format: Format): format is 'html' | 'pdf' {
  return format === 'html' || format === 'pdf';
}

export interface Made {
  content: Blob;
  /** Lines that are not in it, in the server's words. */
  leftOut: string[];
}

/** Makes a file. With `leavesOut` what BVBS cannot say is left out and named; else it is refused. */
export async function make(
  file: string, format: Format, selection: QueryOf<'totals'>, options: {kind: Kind; leavesOut: boolean}, signal?: AbortSignal):
  Promise<Made> {
  if (isOfPages(format)) {
    return {content: await project(file).bendingList({...selection, format}, {signal}), leftOut: []};
  }
  const query = {...selection, format, ...(format === 'csv' ? {kind: options.kind} : {})};
  try {
    return {content: await project(file).exportAs(query, {signal}), leftOut: []};
  } catch (failure) {
    const isRefusal = format === 'bvbs' && failure instanceof ServerError && failure.status === 400;
    if (!isRefusal || !options.leavesOut) throw failure;
    // What is left out is said by the refusal alone.
    const [, ...lines] = failure.message.split('\n');
    const content = await project(file).exportAs({...query, skip_unsayable: true}, {signal});
    return {content, leftOut: lines};
  }
}
