// Requests in the form in which the library sends them.

const escape = (text) => encodeURIComponent(text);
const now = () => Math.floor(Date.now() / 1000);

function contextDataText(data) {
  let text = "";
  let open = [];
  for (const key of Object.keys(data).sort()) {
    const levels = key.split(".").slice(0, -1);
    let common = 0;
    while (common < open.length && open[common] === levels[common]) ++common;
    for (const level of open.slice(common).reverse()) text += `&.${escape(level)}`;
    for (const level of levels.slice(common)) text += `&${escape(level)}.`;
    open = levels;
    text += `&${escape(key.split(".").at(-1))}=${escape(data[key])}`;
  }
  for (const level of open.reverse()) text += `&.${escape(level)}`;
  return text && `&c.${text}&.c`;
}

let random = 0;

export function hit(variables, contextData = {}, suites = "garden-shop") {
  const all = { aid: "2D7A4E1F05B3C690-1A52F08C7E6D4B93", ce: "UTF-8", ts: now(), ...variables };
  const pairs = Object.keys(all).sort().map((name) => `&${escape(name)}=${escape(all[name])}`);
  const query = `AQB=1&ndh=1${pairs.join("")}${contextDataText(contextData)}&AQE=1`;
  return `/b/ss/${suites}/0/WINU-4.0.0/s${++random}?${query}`;
}

const application = "Garden 2.1";

export const state = (name, data) => hit({ pageName: name }, data);

export const action = (name, data, variables) => hit(
  { pageName: application, pe: "lnk_o", pev2: `QXACTION:${name}`, ...variables },
  { "a.action": name, ...data });

export const internalAction = (name, data, variables) => hit(
  { pageName: application, pe: "lnk_o", pev2: `VLTINTERNAL:${name}`, ...variables },
  { "a.internalaction": name, ...data });

export const launch = (data, time = now()) => internalAction("Lifecycle", {
  "a.AppID": application, "a.DeviceName": "Acme Box 7", "a.OSVersion": "Windows 10.0",
  "a.Resolution": "1920x1080", "a.LaunchEvent": "LaunchEvent", "a.Launches": "1",
  "a.HourOfDay": "14", "a.DayOfWeek": "2", ...data,
}, { ts: time });

export const location = internalAction.bind(null, "Location", {
  "a.loc.lat.a": "059.3", "a.loc.lat.b": "34", "a.loc.lat.c": "59", "a.loc.lon.a": "018.0",
  "a.loc.lon.b": "63", "a.loc.lon.c": "24", "a.loc.poi": "Flagship store", "a.loc.dist": "41",
});

const mediaItem = (prefix, kind, item) => (data = {}, data2 = {}) => internalAction("Media", {
  "a.contentType": kind, [`${prefix}name`]: item.name, [`${prefix}playerName`]: "Lean-back",
  [`${prefix}length`]: item.length, ...data2,
  ...Object.fromEntries(Object.entries(data).map(([key, value]) => [prefix + key, value])),
}, { pe: data.view ? "m_s" : "m_i", pev3: kind });

// film(name, length) makes a function from what a hit tells of the film to the hit.
export const film = (name, length) => mediaItem("a.media.", "video", { name, length });

export const ad = (name, length, content) => {
  const item = mediaItem("a.media.ad.", "videoAd", { name, length });
  return (data) => item(data, { "a.media.name": content });
};

export const identifier = () => `/id?ts=${now()}`;

export function event(traits) {
  const pairs = Object.entries(traits).map(([name, value]) => `c_${escape(name)}=${escape(value)}`);
  return `/event?${pairs.join("&")}&d_uuid=4711-0815&d_ptfm=win10&d_dst=1&d_rtbd=json`;
}

export const destination = (path) => `/destination/${path}`;

export const content = (location, parameters = "") =>
  `/m2/garden-shop/ubox/raw?mboxContentType=text%2Fplain%3Bcharset%3Dutf-8&t=${now()}000` +
  `&mboxDefault=none&mbox=${escape(location)}${parameters}`;

// An application's day: two sessions, the first of which ended in a crash.
export function session() {
  const guide = film("How to water", 600);
  const spot = ad("Spring sale", 30, "How to water");
  return [
    identifier(),
    launch({ "a.InstallEvent": "InstallEvent", "a.InstallDate": "11/21/2026" }),
    state("Home"),
    content("welcome", "&season=spring"),
    action("search", { "search.term": "watering can", "search.results": "12" }),
    state("Product list", { "list.category": "cans", "list.page": "1" }),
    state("Product", { "product.id": "4711", "product.name": "Copper watering can" }),
    action("add to basket", { "product.id": "4711", "product.price": "19.9", gift: "true" }),
    launch({ "a.CrashEvent": "CrashEvent", "a.Launches": "2" }),
    state("Home"),
    event({ "likes_section": "garden", "visits": "2" }),
    destination("partner?segment=gardener"),
    location(),
    spot({ view: "true" }),
    spot({ timePlayed: "30", complete: "true" }),
    guide({ view: "true", segmentView: "true", segment: "M:0-25", segmentNum: "1" }),
    guide({ milestone: "25", timePlayed: "150", segment: "M:0-25", segmentNum: "1" }),
    guide({ milestone: "50", timePlayed: "150", segment: "M:25-50", segmentNum: "2" }),
    guide({ clicked: "true", timePlayed: "42", segment: "M:50-75", segmentNum: "3" }),
    state("", { "list.category": "roses" }),
    action("add to basket", { "product.id": "815", myphoto: "yes" }, {
      veltroNotes: 'key "my photo!" was cleaned to "myphoto"',
    }),
    action("checkout", {
      "a.action.time.total": "83", "a.action.time.inapp": "61", "basket.items": "2",
    }),
    internalAction("LifetimeValueIncrease", { "a.ltv.amount": "59.70" }),
    state("Thank you", { "order.id": "A-1009", "order.total": "39.80" }),
  ];
}
