// Files that a person drops somewhere, or picks by a button.

import {useEffect, useRef, useState} from 'preact/hooks';

import {words} from '../../words/words';

const t = words({
  en: {files: 'Import files …', drop: 'or drop .abs and .json files here'},
  de: {files: 'Dateien einlesen …', drop: 'oder .abs- und .json-Dateien hier ablegen'},
});

export interface Picked {
  files: File[];
  /** How many folders were dropped; they are not read. */
  folders: number;
}

function hasFiles(event: DragEvent): boolean {
  return event.dataTransfer?.types.includes('Files') ?? false;
}

function pickedOf(transfer: DataTransfer): Picked {
  const items = [...transfer.items].filter((item) => item.kind === 'file');
  const isFolder = (item: DataTransferItem) => item.webkitGetAsEntry()?.isDirectory ?? false;
  const files = items.filter((item) => !isFolder(item)).flatMap((item) => item.getAsFile() ?? []);
  return {files, folders: items.filter(isFolder).length};
}

/** What makes an element a place to drop files on, and whether some are held over it. */
export function useDrop(onPicked: (picked: Picked) => void, isOffered = true) {
  const [isOver, setOver] = useState(false);
  // Entering a child comes before leaving its parent.
  const depth = useRef(0);
  const setDepth = (value: number) => {
    depth.current = Math.max(0, value);
    setOver(depth.current > 0);
  };
  if (!isOffered) return {isOver: false, handlers: {}};
  const handlers = {
    onDragEnter: (event: DragEvent) => {
      if (hasFiles(event)) setDepth(depth.current + 1);
    },
    onDragLeave: (event: DragEvent) => {
      if (hasFiles(event)) setDepth(depth.current - 1);
    },
    onDragOver: (event: DragEvent) => {
      if (hasFiles(event)) event.preventDefault();
    },
    onDrop: (event: DragEvent) => {
      setDepth(0);
      // A row of the list has taken it already.
      if (!event.dataTransfer || !hasFiles(event) || event.defaultPrevented) return;
      event.preventDefault();
      onPicked(pickedOf(event.dataTransfer));
    },
  };
  return {isOver, handlers};
}

/** A file that is dropped beside every place for it does not take the page's place. */
export function useDropGuard(): void {
  useEffect(() => {
    const refuse = (event: DragEvent) => {
      if (event.defaultPrevented || !hasFiles(event)) return;
      event.preventDefault();
      if (event.dataTransfer) event.dataTransfer.dropEffect = 'none';
    };
    addEventListener('dragover', refuse);
    addEventListener('drop', refuse);
    return () => {
      removeEventListener('dragover', refuse);
      removeEventListener('drop', refuse);
    };
  }, []);
}

/** The same for the keyboard. */
export function PickButton(props: {onPicked: (picked: Picked) => void}) {
  const input = useRef<HTMLInputElement>(null);
  return (
    <>
      <button type="button" onClick={() => input.current?.click()}>{t.files}</button>
      <input ref={input} type="file" class="pick-input" multiple hidden aria-label={t.files}
        accept=".abs,.bvbs,.txt,.json"
        onChange={(event) => {
          const files = [...(event.currentTarget.files ?? [])];
          // So that the same file can be picked again.
          event.currentTarget.value = '';
          if (files.length > 0) props.onPicked({files, folders: 0});
        }} />
      <span class="quiet pick-hint">{t.drop}</span>
    </>
  );
}
