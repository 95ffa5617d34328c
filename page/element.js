// Creates an element with these attributes and children. Strings become text, never markup.
export function create(tag, attributes, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value !== undefined) {
      element.setAttribute(name, value);
    }
  }
  element.append(...children);
  return element;
}
