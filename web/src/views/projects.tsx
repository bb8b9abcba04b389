export function Projects() {
  return <h1>korvane</h1>;
}
