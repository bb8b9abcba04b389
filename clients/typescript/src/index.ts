export {KorvaneError, NoAnswer, ServerError} from './errors.js';
export {kinds} from './generated/description.js';
export type {components, operations, paths} from './generated/openapi.js';
export {Korvane} from './korvane.js';
export {Project, type CallOptions, type ImportOptions, type NumberedRow, type WriteOptions} from './project.js';
export type {Progress} from './progress.js';
export type {QueryColumn, QueryReply} from './query.js';
export type {Content, Repeating, SenderOptions} from './sender.js';
export type * from './types.js';
