import type {ComponentChildren} from 'preact';
import {useEffect, useRef} from 'preact/hooks';

/** A modal dialog of the browser's own: keeps the focus, closes at Escape. */
export function Dialog(props: {title: string; onClose: () => void; children: ComponentChildren}) {
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    const element = dialog.current;
    if (element && !element.open) element.showModal();
    return () => element?.close();
  }, []);
  return (
    <dialog ref={dialog} onClose={props.onClose} aria-label={props.title}>
      <h2>{props.title}</h2>
      {props.children}
    </dialog>
  );
}
