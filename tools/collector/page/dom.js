// The few words in which the page is made. All text goes through textContent: what was received is
// never read as HTML.

export const byId = (id) => document.getElementById(id);

export function create(tag, className = "", text = "") {
  const element = document.createElement(tag);
  if (className) element.className = className;
  if (text !== "") element.textContent = text;
  return element;
}

export function createWith(tag, className, ...children) {
  const element = create(tag, className);
  element.append(...children);
  return element;
}

export function createButton(className, text, onClick) {
  const button = create("button", className, text);
  button.type = "button";
  button.addEventListener("click", onClick);
  return button;
}

// The small coloured tag of a kind.
export function createTag(kind, label) {
  const tag = create("span", "tag", label);
  tag.dataset.kind = kind;
  return tag;
}

let noticeTimer = 0;

// Tells the reader something in passing.
export function notify(text) {
  const notice = byId("notice");
  notice.textContent = text;
  notice.classList.add("shown");
  clearTimeout(noticeTimer);
  noticeTimer = setTimeout(() => notice.classList.remove("shown"), 2500);
}
