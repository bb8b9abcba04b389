export function Token() {
  return <h1>Token</h1>;
}
