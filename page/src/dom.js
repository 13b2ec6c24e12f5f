// Elements of the panel.

export function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (key.startsWith('on')) made.addEventListener(key.slice(2), value);
    else if (value === true) made.setAttribute(key, '');
    else if (value !== false && value !== null) made.setAttribute(key, value);
  }
  made.append(...children);
  return made;
}

export function check(id, label, on, change, chip = null) {
  const input = element('input', {type: 'checkbox', id, checked: on, onchange: () => change(input.checked)});
  return element('label', {class: 'row'}, input, ...(chip ? [element('i', {class: 'chip', style: `background:${chip}`})] : []),
                 element('span', {}, label));
}

export function range(id, label, [low, high, step], value, change) {
  const input = element('input', {type: 'range', id, min: low, max: high, step, value, oninput: () => change(Number(input.value))});
  return element('label', {class: 'row'}, element('span', {}, label), input);
}

export function select(id, label, options, value, change) {
  const input = element('select', {id, onchange: () => change(input.value)},
    ...options.map(([key, text]) => element('option', {value: key, selected: key === value}, text)));
  return element('label', {class: 'row'}, element('span', {}, label), input);
}

export function section(title, ...children) {
  return element('section', {}, element('h2', {}, title), ...children.filter(Boolean));
}

export function folded(title, open, ...children) {
  return element('details', {open}, element('summary', {}, title), ...children.filter(Boolean));
}

export const count = n => n.toLocaleString('en');
export const number = x => (x === null ? '–' : Number(x.toPrecision(4)).toString());
