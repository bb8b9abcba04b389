export function Weights(props: {file: string}) {
  return <h1>{props.file}</h1>;
}
