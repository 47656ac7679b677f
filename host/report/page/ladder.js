// The signalling as a ladder, time downwards. Only the rows in view are elements of the page, so
// that it scrolls as quickly with 100,000 messages as with ten.
"use strict";

function createLadder(viewport, onSelect) {
  const rowHeight = 26;
  const overscan = 12;
  const maxPrinted = 3000;

  const spacer = element("div");
  spacer.setAttribute("role", "presentation");
  viewport.append(spacer);
  const pool = [];
  let shown = Int32Array.from({ length: data.time.length }, (_, index) => index);
  let selected = -1; // position in `shown`
  let isDrawing = false;
  let isPrinting = false;
  let version = 1; // of what rows show at a position

  function makeRow() {
    const row = element("div", "row");
    row.setAttribute("role", "row");
    const cells = {};
    for (const name of ["frame", "time", "delta", "lanes", "proc"]) {
      cells[name] = element("span", name);
      cells[name].setAttribute("role", "gridcell");
      row.append(cells[name]);
    }
    const arrow = element("span");
    const label = element("b");
    const way = element("span", "hidden-text");
    arrow.append(label, element("i"), way);
    cells.lanes.append(arrow);
    return { row, cells, arrow, label, way, position: -1, version: 0 };
  }

  function fillRow(made, position) {
    const index = shown[position];
    const layer = layerNames[data.layer[index]];
    const way = data.way[index];
    const procedures = proceduresOf.get(index);
    const first = procedures ? data.procedures[procedures[0]] : undefined;
    const failing =
      procedures &&
      procedures
        .map((number) => data.procedures[number])
        .find((each) => each.cause && each.isBad && each.messages.at(-1) === index);
    const time = data.time[index];
    const before = position > 0 ? data.time[shown[position - 1]] : time;

    made.position = position;
    made.row.id = "row-" + position;
    made.row.style.top = position * rowHeight + "px";
    made.row.setAttribute("aria-rowindex", position + 1);
    made.row.setAttribute("aria-selected", position === selected);
    made.row.className =
      "row" + (position === selected ? " selected" : "") + (data.lost[index] ? " lost" : "");
    made.cells.frame.textContent = data.frame[index];
    made.cells.time.textContent = secondsText(time);
    made.cells.delta.textContent = position > 0 ? "+" + durationText(Math.max(0, time - before)) : "";
    made.cells.delta.className = "delta" + (time - before >= 1e9 ? " long" : "");
    made.cells.proc.textContent = failing ? "✕ " + failing.cause : first ? first.title : "";
    made.cells.proc.className = "proc" + (failing ? " failed" : "");

    const isHost = layer === "at";
    const pointsRight = way === "u" || way === "c";
    const direction = way === "-" ? "unknown" : pointsRight ? "right" : "left";
    made.arrow.className =
      "arrow layer-" + layer + (isHost ? " host " : " net ") + direction +
      (data.copies[index] ? " copy" : "");
    const text = data.names[data.name[index]] || data.channels[data.channel[index]];
    made.label.textContent = text.replaceAll("\n", " ⏎ ");
    made.label.title = text;
    made.way.textContent = ", " + layer + ", " + wayTexts[way];
    made.row.hidden = false;
  }

  function draw() {
    isDrawing = false;
    if (isPrinting) return; // the page has all rows
    const top = viewport.scrollTop;
    const count = Math.ceil(viewport.clientHeight / rowHeight) + 2 * overscan;
    const from = Math.max(0, Math.floor(top / rowHeight) - overscan);
    const to = Math.min(shown.length, from + count);
    while (pool.length < to - from) {
      const made = makeRow();
      pool.push(made);
      viewport.append(made.row);
    }
    // A row keeps its element while it stays in view: position modulo the pool's size.
    for (let i = 0; i < pool.length; i++) {
      const position = from + ((i - (from % pool.length) + pool.length) % pool.length);
      const made = pool[i];
      if (position >= to) {
        made.row.hidden = true;
        made.row.removeAttribute("id");
        made.version = 0;
      } else if (made.position !== position || made.version !== version) {
        fillRow(made, position);
        made.version = version;
      }
    }
  }

  function requestDraw() {
    if (isDrawing) return;
    isDrawing = true;
    requestAnimationFrame(draw);
  }

  function resize() {
    spacer.style.height = shown.length * rowHeight + "px";
    viewport.setAttribute("aria-rowcount", shown.length);
  }

  function scrollTo(position, center) {
    const top = position * rowHeight;
    const height = viewport.clientHeight;
    if (center) {
      viewport.scrollTop = top - height / 2;
    } else if (top < viewport.scrollTop) {
      viewport.scrollTop = top;
    } else if (top + rowHeight > viewport.scrollTop + height) {
      viewport.scrollTop = top + rowHeight - height;
    }
  }

  function selectPosition(position, center) {
    if (shown.length === 0) return;
    selected = Math.min(shown.length - 1, Math.max(0, position));
    ++version;
    scrollTo(selected, center);
    draw();
    viewport.setAttribute("aria-activedescendant", "row-" + selected);
    onSelect(shown[selected]);
  }

  // The position of the first shown message that is not before `index`.
  function positionOf(index) {
    let low = 0;
    let high = shown.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (shown[middle] < index) low = middle + 1;
      else high = middle;
    }
    return low;
  }

  viewport.addEventListener("scroll", requestDraw, { passive: true });
  new ResizeObserver(requestDraw).observe(viewport);
  viewport.addEventListener("click", (event) => {
    const row = event.target.closest(".row");
    const made = pool.find((each) => each.row === row);
    if (made) selectPosition(made.position, false);
  });
  viewport.addEventListener("keydown", (event) => {
    const page = Math.max(1, Math.floor(viewport.clientHeight / rowHeight) - 1);
    const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page };
    if (event.key in steps) selectPosition(selected + steps[event.key], false);
    else if (event.key === "Home") selectPosition(0, false);
    else if (event.key === "End") selectPosition(shown.length - 1, false);
    else return;
    event.preventDefault();
  });

  // Paper shows rows in the flow of the page.
  let printed = [];
  window.addEventListener("beforeprint", () => {
    isPrinting = true;
    for (const made of pool) made.row.remove();
    spacer.style.height = "0";
    const count = Math.min(shown.length, maxPrinted);
    for (let position = 0; position < count; position++) {
      const made = makeRow();
      fillRow(made, position);
      viewport.append(made.row);
      printed.push(made.row);
    }
    if (count < shown.length) {
      const note = element("p", "", "… and " + (shown.length - count) + " more messages.");
      viewport.append(note);
      printed.push(note);
    }
  });
  window.addEventListener("afterprint", () => {
    for (const row of printed) row.remove();
    printed = [];
    for (const made of pool) viewport.append(made.row);
    isPrinting = false;
    resize();
    draw();
  });

  resize();
  draw();

  return {
    // Shows the messages for which `accept` holds, and keeps the selected one in view.
    filter(accept) {
      const index = selected >= 0 ? shown[selected] : -1;
      const kept = [];
      for (let i = 0; i < data.time.length; i++) if (accept(i)) kept.push(i);
      shown = Int32Array.from(kept);
      selected = -1;
      ++version;
      resize();
      if (index >= 0) {
        const position = positionOf(index);
        if (shown[position] === index) selected = position;
        scrollTo(Math.min(position, Math.max(0, shown.length - 1)), true);
      } else {
        viewport.scrollTop = 0;
      }
      draw();
      return shown.length;
    },
    // Selects message `index`, or the next one that is shown.
    select(index) {
      selectPosition(positionOf(index), true);
    },
    focus() {
      viewport.focus({ preventScroll: true });
    },
  };
}
