// CodeMirror, in a shadow root: there its styles are adopted by script, which needs no style element in the page.

import {
  autocompletion, closeBrackets, closeBracketsKeymap, completionKeymap, type CompletionContext, type CompletionResult,
} from '@codemirror/autocomplete';
import {defaultKeymap, history, historyKeymap} from '@codemirror/commands';
import {sql, SQLite} from '@codemirror/lang-sql';
import {bracketMatching, HighlightStyle, syntaxHighlighting} from '@codemirror/language';
import {Compartment, EditorState, StateEffect, StateField, type Extension} from '@codemirror/state';
import {Decoration, EditorView, highlightActiveLine, keymap, lineNumbers, placeholder, type DecorationSet} from '@codemirror/view';
import {tags} from '@lezer/highlight';
import {useEffect, useRef} from 'preact/hooks';

import type {Place} from './place';
import type {Schema} from './schema';

const mark = StateEffect.define<Place | null>();

/** The place that a refusal is about, until the text changes. */
const markedPlace = StateField.define<DecorationSet>({
  create: () => Decoration.none,
  update(marks, transaction) {
    let next = transaction.docChanged ? Decoration.none : marks;
    for (const effect of transaction.effects) {
      if (!effect.is(mark)) continue;
      const place = effect.value;
      next = place && place.to <= transaction.newDoc.length
        ? Decoration.set([Decoration.mark({class: 'cm-refused'}).range(place.from, place.to)]) : Decoration.none;
    }
    return next;
  },
  provide: (field) => EditorView.decorations.from(field),
});

const theme = EditorView.theme({
  '&': {color: 'var(--ink)', backgroundColor: 'var(--ground)', fontSize: '15px', border: '1px solid var(--strong-line)',
    borderRadius: '6px', height: '100%'},
  '&.cm-focused': {outline: '3px solid var(--accent)', outlineOffset: '-3px'},
  '.cm-scroller': {fontFamily: 'ui-monospace, "DejaVu Sans Mono", Menlo, Consolas, monospace', overflow: 'auto'},
  '.cm-content': {caretColor: 'var(--ink)', minHeight: '7em', padding: '8px 0'},
  '.cm-gutters': {backgroundColor: 'var(--raised)', color: 'var(--quiet)', border: 'none'},
  '.cm-activeLine, .cm-activeLineGutter': {backgroundColor: 'transparent'},
  '.cm-placeholder': {color: 'var(--quiet)'},
  '.cm-matchingBracket': {backgroundColor: 'var(--picked) !important', outline: '1px solid var(--strong-line)'},
  '.cm-refused': {textDecoration: 'underline wavy var(--error) 2px', textDecorationSkipInk: 'none'},
  '.cm-tooltip': {backgroundColor: 'var(--ground)', color: 'var(--ink)', border: '1px solid var(--strong-line)'},
  '.cm-tooltip-autocomplete ul li[aria-selected]': {backgroundColor: 'var(--accent) !important',
    color: 'var(--on-accent) !important'},
  '.cm-tooltip-autocomplete > ul > li': {padding: '4px 8px !important'},
  '.cm-completionDetail': {color: 'inherit', fontStyle: 'normal', paddingLeft: '1em'},
});

/** Plain text only, where the browser knows that: pasted and replaced text then brings no styles, which the
 * policy of the page would refuse. */
function editable(): Record<string, string> {
  try {
    document.createElement('div').contentEditable = 'plaintext-only';
    return {contenteditable: 'plaintext-only'};
  } catch {
    return {};
  }
}

const colours = HighlightStyle.define([
  {tag: tags.keyword, color: 'var(--accent)', fontWeight: '600'},
  {tag: [tags.string, tags.special(tags.string)], color: 'var(--done)'},
  {tag: [tags.comment], color: 'var(--quiet)', fontStyle: 'italic'},
]);

/** Columns without their table before them, of all tables that the query names. */
function columnsOfNamed(schema: Schema) {
  return (context: CompletionContext): CompletionResult | null => {
    const word = context.matchBefore(/(^|[^.\w])\w+/);
    if (!word) return null;
    const words = new Set(context.state.doc.toString().toLowerCase().match(/\w+/g));
    const options = schema.relations.filter((relation) => words.has(relation.name.toLowerCase())).flatMap((relation) =>
      relation.columns.map((column) => ({label: column, type: 'property', detail: relation.name, boost: 1})));
    return {from: word.to - (/\w+$/.exec(word.text)?.[0].length ?? 0), options, validFor: /^\w*$/};
  };
}

function language(schema: Schema): Extension {
  return [SQLite.language.data.of({autocomplete: columnsOfNamed(schema)}), sql({
    dialect: SQLite,
    upperCaseKeywords: false,
    schema: Object.fromEntries(schema.relations.map((relation) => [relation.name, {
      self: {label: relation.name, type: relation.isView ? 'class' : 'type'},
      children: relation.columns.map((column) => ({label: column, type: 'property'})),
    }])),
  })];
}

export interface EditorProps {
  label: string;
  hint: string;
  /** What the editor has to show: another object replaces what was typed. */
  given: {text: string};
  schema: Schema;
  /** What a refusal is about. */
  place: Place | null;
  onChange: (text: string) => void;
  onRun: () => void;
}

export function Editor(props: EditorProps) {
  const host = useRef<HTMLDivElement>(null);
  const view = useRef<EditorView | null>(null);
  const completion = useRef(new Compartment()).current;
  const latest = useRef(props);
  latest.current = props;
  useEffect(() => {
    const element = host.current;
    if (!element) return;
    const root = element.shadowRoot ?? element.attachShadow({mode: 'open'});
    const made = new EditorView({
      root,
      parent: root,
      state: EditorState.create({doc: props.given.text, extensions: [
        keymap.of([{key: 'Ctrl-Enter', mac: 'Cmd-Enter', preventDefault: true, run: () => {
          latest.current.onRun();
          return true;
        }}]),
        lineNumbers(), history(), bracketMatching(), closeBrackets(), highlightActiveLine(), autocompletion(),
        // Tab is not among the keys: it leaves the editor as it leaves any other field.
        keymap.of([...closeBracketsKeymap, ...completionKeymap, ...historyKeymap, ...defaultKeymap]),
        EditorView.lineWrapping, placeholder(props.hint), theme, syntaxHighlighting(colours), markedPlace,
        EditorView.contentAttributes.of({
          'aria-label': props.label, autocapitalize: 'off', spellcheck: 'false', ...editable(),
        }),
        EditorView.updateListener.of((update) => {
          if (update.docChanged) latest.current.onChange(update.state.doc.toString());
        }),
        completion.of(language(props.schema)),
      ]}),
    });
    view.current = made;
    return () => {
      made.destroy();
      view.current = null;
    };
  }, []);
  useEffect(() => {
    const editor = view.current;
    const {text} = props.given;
    if (!editor || editor.state.doc.toString() === text) return;
    editor.dispatch({changes: {from: 0, to: editor.state.doc.length, insert: text}});
  }, [props.given]);
  useEffect(() => {
    view.current?.dispatch({effects: completion.reconfigure(language(props.schema))});
  }, [props.schema]);
  useEffect(() => {
    view.current?.dispatch({effects: mark.of(props.place)});
  }, [props.place]);
  return <div class="editor" ref={host} />;
}
