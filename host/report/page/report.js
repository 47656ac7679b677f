// Connects the ladder, the time axis, the filters and the address of the page.
"use strict";

const byId = (id) => document.getElementById(id);

function showDetails(index) {
  const into = byId("details");
  into.replaceChildren();
  const name = data.names[data.name[index]] || data.channels[data.channel[index]];
  into.append(element("h3", "layer-" + layerNames[data.layer[index]], name));
  const list = element("dl");
  const add = (term, value) => list.append(element("dt", "", term), element("dd", "", value));
  add("Frame", String(data.frame[index]));
  add("Time", secondsText(data.time[index]) + " s" +
    (data.clock ? " (" + clockText(data.time[index]) + ")" : ""));
  add("Layer", data.channels[data.channel[index]]);
  add("Direction", wayTexts[data.way[index]]);
  for (const number of proceduresOf.get(index) || []) {
    const procedure = data.procedures[number];
    add("Part of", procedure.title + ", " + procedure.outcome + " (" +
      durationText(procedure.end - procedure.begin) + ")");
    if (procedure.cause && procedure.messages.at(-1) === index) {
      add("Cause", procedure.cause + (procedure.clause ? " (" + procedure.clause + ")" : ""));
    }
  }
  const size = data.size[index];
  add("Bytes", String(size));

  const filter = "frame.number == " + data.frame[index];
  const copy = element("button", "", "Copy Wireshark filter");
  copy.type = "button";
  copy.addEventListener("click", async () => {
    try {
      await navigator.clipboard.writeText(filter);
      copy.textContent = "Copied: " + filter;
    } catch {
      copy.textContent = filter;
    }
  });
  const facts = element("div");
  facts.append(list, copy);
  const bytes = bytesOf(index);
  const dump = element("pre", "", hexDump(bytes));
  dump.tabIndex = 0;
  dump.setAttribute("aria-label", "Bytes in hexadecimal");
  const content = element("div");
  content.append(dump);
  if (bytes.length < size) {
    content.append(element("p", "muted", "The first " + bytes.length + " of " + size + " bytes."));
  }
  into.append(facts, content);
}

// Only a clock that counts from 1970 gives a date.
function clockText(nanoseconds) {
  return new Date(data.clock + nanoseconds / 1e6).toISOString().replace("T", " ");
}

const timeline = createTimeline(byId("timeline"), byId("tip"), (picked) => {
  go(picked.index ?? indexAt(picked.time));
});

let isFollowing = false; // the address, which selecting would change in turn
const ladder = createLadder(byId("ladder"), (index) => {
  showDetails(index);
  timeline.point(data.time[index]);
  if (!isFollowing) history.replaceState(null, "", "#frame=" + data.frame[index]);
});

function indexAt(time) {
  let best = 0;
  for (let i = 0; i < data.time.length; i++) {
    if (Math.abs(data.time[i] - time) < Math.abs(data.time[best] - time)) best = i;
  }
  return best;
}

function indexOfFrame(frame) {
  let low = 0;
  let high = data.frame.length - 1;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (data.frame[middle] < frame) low = middle + 1;
    else high = middle;
  }
  return low;
}

// Selects a message; filters that hide it are taken off.
function go(index) {
  if (data.time.length === 0) return;
  if (!accepts(index)) resetFilters();
  ladder.select(index);
}

const filters = { text: "", layers: new Set(Object.keys(layerNames)), procedure: "" };
let matchingNames = null; // by index into data.names; null: all

function accepts(index) {
  if (!filters.layers.has(data.layer[index])) return false;
  if (matchingNames && !matchingNames[data.name[index]]) return false;
  if (filters.procedure === "") return true;
  const numbers = proceduresOf.get(index);
  return numbers !== undefined &&
    numbers.some((number) => data.procedures[number].title === filters.procedure);
}

function applyFilters() {
  filters.text = byId("search").value.trim().toLowerCase();
  filters.procedure = byId("procedure").value;
  filters.layers = new Set(
    Array.from(document.querySelectorAll("input[name=layer]:checked"), (box) => box.value));
  matchingNames = filters.text === ""
    ? null
    : data.names.map((name) => name.toLowerCase().includes(filters.text));
  const count = ladder.filter(accepts);
  byId("shown").textContent =
    count === data.time.length
      ? count.toLocaleString("en") + " messages"
      : count.toLocaleString("en") + " of " + data.time.length.toLocaleString("en") + " messages";
}

function resetFilters() {
  byId("search").value = "";
  byId("procedure").value = "";
  for (const box of document.querySelectorAll("input[name=layer]")) box.checked = true;
  applyFilters();
}

// #frame=24 or #t=12.5, in seconds since the start.
function followAddress() {
  const frame = /^#frame=(\d+)$/.exec(location.hash);
  const time = /^#t=([\d.]+)$/.exec(location.hash);
  if (!frame && !time) return;
  isFollowing = true;
  go(frame ? indexOfFrame(Number(frame[1])) : indexAt(Number(time[1]) * 1e9));
  isFollowing = false;
  byId("signalling").scrollIntoView({ block: "start" });
}

byId("search").addEventListener("input", applyFilters);
byId("procedure").addEventListener("change", applyFilters);
byId("layers").addEventListener("change", applyFilters);
byId("reset").addEventListener("click", resetFilters);
byId("zoom-in").addEventListener("click", () => timeline.zoom(0.5));
byId("zoom-out").addEventListener("click", () => timeline.zoom(2));
byId("zoom-all").addEventListener("click", () => timeline.showAll());
byId("pan-left").addEventListener("click", () => timeline.pan(-0.5));
byId("pan-right").addEventListener("click", () => timeline.pan(0.5));
window.addEventListener("hashchange", followAddress);
document.addEventListener("click", (event) => {
  const link = event.target.closest("a.moment");
  if (!link) return;
  const stretch = link.dataset.from;
  if (stretch !== undefined) timeline.show(Number(stretch), Number(link.dataset.to));
  // The same address again changes nothing, so that no event comes.
  if (link.hash === location.hash) followAddress();
});

const titles = [...new Set(data.procedures.map((each) => each.title))].sort();
for (const title of titles) byId("procedure").append(new Option(title, title));
applyFilters();
followAddress();
document.documentElement.dataset.ready = "true";
