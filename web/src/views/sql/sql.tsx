export function Sql(props: {file: string}) {
  return <h1>{props.file}</h1>;
}
