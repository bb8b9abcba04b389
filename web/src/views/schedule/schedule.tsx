export function Schedule(props: {file: string; revisionId: number; kind: string}) {
  return <h1>{props.file}</h1>;
}
