// The pages of a bending list, in a frame in which nothing can run.

import {useEffect, useState} from 'preact/hooks';

import {counted} from '../../words/words';
import {t} from './words';

interface Parts {
  /** The document without its styles: the policy of this page, which the frame has too, refuses style elements. */
  url: string;
  styles: string;
}

async function partsOf(content: Blob): Promise<Parts> {
  const text = await content.text();
  // It stands in the head, before anything that comes from a project but the title, whose "<" is "&lt;".
  const style = /<style>([\s\S]*?)<\/style>/.exec(text);
  const bare = style ? text.replace(style[0], '') : text;
  return {url: URL.createObjectURL(new Blob([bare], {type: 'text/html'})), styles: style?.[1] ?? ''};
}

/** Styles that are set by script are not bound by the policy. */
function adopt(frame: HTMLIFrameElement, styles: string): void {
  const view = frame.contentWindow as (Window & {CSSStyleSheet: typeof CSSStyleSheet}) | null;
  if (!view || !frame.contentDocument) return;
  const sheet = new view.CSSStyleSheet();
  sheet.replaceSync(styles);
  frame.contentDocument.adoptedStyleSheets = [sheet];
}

/** `onShown` gets the frame once its pages can be printed. */
export function HtmlPages(props: {content: Blob; title: string; onShown: (frame: HTMLIFrameElement) => void}) {
  const [parts, setParts] = useState<Parts | null>(null);
  const [pages, setPages] = useState(0);
  useEffect(() => {
    let made: Parts | null = null;
    let isOver = false;
    setPages(0);
    void partsOf(props.content).then((one) => {
      made = one;
      if (isOver) URL.revokeObjectURL(one.url);
      else setParts(one);
    });
    return () => {
      isOver = true;
      if (made) URL.revokeObjectURL(made.url);
    };
  }, [props.content]);
  if (!parts) return null;
  return (
    <>
      <p class="quiet no-print count" role="status">{pages > 0 && counted(pages, t.page, t.pages)}</p>
      <iframe class="pages" title={props.title} src={parts.url} sandbox="allow-same-origin allow-modals"
        style={{'--pages': String(pages)}}
        onLoad={(event) => {
          adopt(event.currentTarget, parts.styles);
          setPages(event.currentTarget.contentDocument?.querySelectorAll('section').length ?? 0);
          props.onShown(event.currentTarget);
        }} />
    </>
  );
}

export function PdfPages(props: {content: Blob; title: string}) {
  const [url, setUrl] = useState('');
  useEffect(() => {
    const made = URL.createObjectURL(new Blob([props.content], {type: 'application/pdf'}));
    setUrl(made);
    return () => URL.revokeObjectURL(made);
  }, [props.content]);
  if (!navigator.pdfViewerEnabled) return <p class="quiet">{t.noPreview}</p>;
  return url === '' ? null : <iframe class="pages" title={props.title} src={url} />;
}
