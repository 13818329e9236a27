// Times, sizes and long texts for people. By hand where rows are drawn: Intl is slow.

const two = (number) => String(number).padStart(2, "0");

// "14:03:12"
export function clockTime(milliseconds) {
  const date = new Date(milliseconds);
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}`;
}

// "14:03:12.045"
export function exactTime(milliseconds) {
  const fraction = String(new Date(milliseconds).getMilliseconds()).padStart(3, "0");
  return `${clockTime(milliseconds)}.${fraction}`;
}

// "2026-11-22 14:03:12.045"
export function dateAndTime(milliseconds) {
  const date = new Date(milliseconds);
  const day = `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())}`;
  return `${day} ${exactTime(milliseconds)}`;
}

// "45 s", "6 min 52 s", "3 h 5 min"
export function duration(seconds) {
  const whole = Math.round(seconds);
  if (whole < 60) return `${whole} s`;
  const minutes = Math.floor(whole / 60);
  if (minutes < 60) return whole % 60 ? `${minutes} min ${whole % 60} s` : `${minutes} min`;
  return minutes % 60 ? `${Math.floor(minutes / 60)} h ${minutes % 60} min` : `${minutes / 60} h`;
}

export const count = (number) => number.toLocaleString("en");

// The start of a text that may be very long.
export function shorten(text, length) {
  return text.length <= length ? text : `${text.slice(0, length)}…`;
}
