// Light or dark: as the system has it, until the reader chooses. Runs before the first picture, so
// that the page does not flash.
(() => {
  const root = document.documentElement;
  const system = matchMedia("(prefers-color-scheme: dark)");

  const read = () => {
    try {
      return localStorage.getItem("theme");
    } catch {
      return null;  // storage may be forbidden
    }
  };

  const keep = (theme) => {
    try {
      localStorage.setItem("theme", theme);
    } catch {
      // Then it holds for this page only.
    }
  };

  const announce = () => document.dispatchEvent(new Event("theme"));

  const choose = (theme) => {
    root.dataset.theme = theme;
    announce();
  };

  const isDark = () => (root.dataset.theme ?? (system.matches ? "dark" : "light")) === "dark";

  const kept = read();
  if (kept === "dark" || kept === "light") choose(kept);
  system.addEventListener("change", announce);
  document.addEventListener("DOMContentLoaded", () => {
    document.getElementById("theme").addEventListener("click", () => {
      choose(isDark() ? "light" : "dark");
      keep(root.dataset.theme);
    });
  });
})();
