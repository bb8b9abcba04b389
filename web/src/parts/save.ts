/** Gives a file to the person, as the browser does with downloads. */
export function save(content: Blob, name: string): void {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(content);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
}
