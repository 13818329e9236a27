// What the keys do. In a text field only Escape and the arrows mean anything else than text.

import { byId } from "./dom.js";

// `page`: focusFilter, leaveFilter, move(lines), oldest, newest, open, close, copy, pageLength.
export function startKeyboard(page) {
  const moves = {
    j: () => page.move(1),
    k: () => page.move(-1),
    "/": () => page.focusFilter(),
    c: () => page.copy(),
    "?": () => showKeys(),
    Escape: () => page.close(),
  };
  const inList = {
    ArrowDown: () => page.move(1),
    ArrowUp: () => page.move(-1),
    PageDown: () => page.move(page.pageLength()),
    PageUp: () => page.move(-page.pageLength()),
    Home: () => page.oldest(),
    End: () => page.newest(),
    Enter: () => page.open(),
  };
  const inFilter = {
    Escape: () => page.leaveFilter(),
    ArrowDown: () => page.leaveFilter(),
    Enter: () => page.leaveFilter(),
  };
  const onPicture = {
    ArrowRight: () => page.move(1),
    ArrowLeft: () => page.move(-1),
    Enter: () => page.open(),
  };

  const actionOf = (event) => {
    if (event.target.id === "filter") return inFilter[event.key];
    if (event.target.id === "timeline-picture" && onPicture[event.key]) return onPicture[event.key];
    const isElsewhere = event.target !== document.body && event.target.id !== "list";
    return moves[event.key] ?? (isElsewhere ? undefined : inList[event.key]);
  };

  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || byId("key-list").open) return;
    const action = actionOf(event);
    if (!action) return;
    event.preventDefault();
    action();
  });
  byId("keys").addEventListener("click", showKeys);
}

function showKeys() {
  byId("key-list").showModal();
}
