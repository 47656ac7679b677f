// Procedures, connections, commands, traffic and losses as bars on a time axis.
"use strict";

function createTimeline(canvas, tip, onPick) {
  const laneHeight = 24;
  const trafficHeight = 56;
  const axisHeight = 26;
  const labelWidth = 132;
  const minSpan = 1e5; // nanoseconds

  const lanes = makeLanes();
  const height = axisHeight + lanes.reduce((sum, lane) => sum + lane.height, 0);
  const whole = { from: 0, to: Math.max(data.duration, 1e6) };
  const margin = (whole.to - whole.from) * 0.01;
  const view = { from: -margin, to: whole.to + margin };
  let cursor = null; // a moment
  let colors = {};
  let isDrawing = false;

  function makeLanes() {
    const result = [];
    const add = (title, bars, extra) => {
      if (bars.length > 0 || extra) result.push({ title, bars, height: laneHeight, ...extra });
    };
    const bars = data.procedures.map((each, number) => ({
      from: each.begin,
      to: each.end,
      result: each.result,
      text: each.title + ": " + each.outcome + (each.cause ? ", " + each.cause : ""),
      index: each.messages[0],
      lane: each.lane,
      number,
    }));
    add(
      "connected",
      data.connections.map(([from, to]) => ({ from, to, result: "calm", text: "RRC connection" })),
    );
    for (const lane of data.lanes) add(lane, bars.filter((bar) => bar.lane === lane));
    add(
      "AT commands",
      data.commands.map((each) => ({
        from: each.begin,
        to: each.end,
        result: each.result === "" ? "unanswered" : each.isError ? "failed" : "at",
        text: each.command + " → " + (each.result || "no result"),
        index: each.index,
      })),
    );
    add(
      "TLS",
      data.sessions.map((each) => ({
        from: each.begin,
        to: each.end,
        result: each.failure ? "failed" : each.isEstablished ? "ip" : "unfinished",
        text: "TLS handshake " + each.name + (each.failure ? ": " + each.failure : ""),
        index: each.index,
      })),
    );
    if (data.traffic.points.length > 0) add("IP", [], { height: trafficHeight, isTraffic: true });
    return result;
  }

  function readColors() {
    const style = getComputedStyle(document.documentElement);
    for (const name of ["text", "muted", "line", "accent", "good", "bad", "warn", "rest", "at", "ip",
      "rrc", "nas", "loss", "gap", "sunken", "card", "select"]) {
      colors[name] = style.getPropertyValue("--" + name).trim();
    }
    Object.assign(colors, {
      succeeded: colors.nas,
      failed: colors.bad,
      unanswered: colors.warn,
      unfinished: colors.rest,
      waited: colors.rest,
      calm: colors.rrc,
    });
  }

  function width() {
    return canvas.clientWidth;
  }

  function x(time) {
    return labelWidth + ((time - view.from) / (view.to - view.from)) * (width() - labelWidth);
  }

  function timeAt(position) {
    return view.from + ((position - labelWidth) / (width() - labelWidth)) * (view.to - view.from);
  }

  // A step of 1, 2 or 5 times a power of ten that leaves room for its labels.
  function tickStep() {
    const wanted = ((view.to - view.from) * 95) / (width() - labelWidth);
    const power = 10 ** Math.floor(Math.log10(wanted));
    return [1, 2, 5, 10].map((factor) => factor * power).find((step) => step >= wanted);
  }

  function tickText(time, step) {
    const decimals = Math.max(0, Math.min(6, -Math.floor(Math.log10(step / 1e9))));
    return (time / 1e9).toFixed(decimals) + " s";
  }

  function drawAxis(context) {
    const step = tickStep();
    context.fillStyle = colors.muted;
    context.strokeStyle = colors.line;
    context.textAlign = "center";
    for (let tick = Math.ceil(view.from / step); tick * step <= view.to; tick++) {
      const at = Math.round(x(tick * step)) + 0.5;
      context.beginPath();
      context.moveTo(at, axisHeight - 6);
      context.lineTo(at, height);
      context.stroke();
      context.fillText(tickText(tick * step, step), at, axisHeight - 12);
    }
  }

  function drawShades(context) {
    for (const loss of data.losses) {
      const from = Math.max(labelWidth, x(loss.begin));
      const to = Math.max(from + 2, x(loss.end));
      if (to < labelWidth || from > width()) continue;
      context.fillStyle = loss.traces > 0 ? colors.loss : colors.gap;
      context.fillRect(from, axisHeight, to - from, height - axisHeight);
    }
  }

  function drawBar(context, bar, top) {
    const from = Math.max(labelWidth, x(bar.from));
    const to = Math.min(width(), x(bar.to));
    if (to < labelWidth || from > width()) return;
    const length = Math.max(2.5, to - from);
    const isCalm = bar.result === "calm";
    context.globalAlpha = isCalm ? 0.35 : bar.result === "waited" ? 0.45 : 0.9;
    context.fillStyle = colors[bar.result] || colors.rest;
    context.beginPath();
    context.roundRect(from, top + 5, length, laneHeight - 10, Math.min(3, length / 2));
    context.fill();
    context.globalAlpha = 1;
    // Colour alone says nothing to some readers.
    const isBad = bar.result === "failed" || bar.result === "unanswered";
    if (!isBad) return;
    context.fillStyle = colors[bar.result];
    context.textAlign = "left";
    context.fillText(bar.result === "failed" ? "✕" : "?", from + length + 3, top + laneHeight / 2);
  }

  function trafficPeak() {
    return Math.max(1, ...data.traffic.points.map((point) => Math.max(point[1], point[2])));
  }

  function drawTraffic(context, top) {
    const middle = top + trafficHeight / 2;
    const room = trafficHeight / 2 - 5;
    const peak = trafficPeak();
    for (const [time, up, down] of data.traffic.points) {
      const from = x(time);
      const to = Math.max(from + 1, x(time + data.traffic.interval));
      if (to < labelWidth || from > width()) continue;
      context.fillStyle = colors.ip;
      context.fillRect(from, middle - (up / peak) * room, to - from, (up / peak) * room);
      context.fillStyle = colors.rrc;
      context.fillRect(from, middle, to - from, (down / peak) * room);
    }
    context.fillStyle = colors.bad;
    for (const time of data.retransmissions) {
      const at = x(time);
      if (at >= labelWidth && at <= width()) context.fillRect(at - 1, top + 3, 2, trafficHeight - 6);
    }
    context.strokeStyle = colors.rest;
    context.beginPath();
    context.moveTo(labelWidth, middle + 0.5);
    context.lineTo(width(), middle + 0.5);
    context.stroke();
    const rate = (peak * 8e9) / data.traffic.interval;
    context.fillStyle = colors.muted;
    context.textAlign = "left";
    context.fillText("up ↑", 8, top + 14);
    context.fillText("down ↓", 8, top + trafficHeight - 12);
    context.textAlign = "right";
    context.fillText("peak " + rateText(rate), width() - 6, top + 11);
  }

  function rateText(bitsPerSecond) {
    for (const [factor, unit] of [[1e9, "Gbit/s"], [1e6, "Mbit/s"], [1e3, "kbit/s"]]) {
      if (bitsPerSecond >= factor) return (bitsPerSecond / factor).toFixed(1) + " " + unit;
    }
    return bitsPerSecond.toFixed(0) + " bit/s";
  }

  function draw() {
    isDrawing = false;
    const scale = window.devicePixelRatio || 1;
    canvas.style.height = height + "px";
    canvas.width = Math.round(width() * scale);
    canvas.height = Math.round(height * scale);
    readColors();
    const context = canvas.getContext("2d");
    context.scale(scale, scale);
    context.font = "12px system-ui, sans-serif";
    context.textBaseline = "middle";
    context.fillStyle = colors.sunken;
    context.fillRect(0, 0, width(), height);
    drawShades(context);
    drawAxis(context);
    let top = axisHeight;
    for (const lane of lanes) {
      context.strokeStyle = colors.line;
      context.beginPath();
      context.moveTo(0, top + 0.5);
      context.lineTo(width(), top + 0.5);
      context.stroke();
      if (lane.isTraffic) drawTraffic(context, top);
      for (const bar of lane.bars) drawBar(context, bar, top);
      top += lane.height;
    }
    // The names last, over what begins left of the view.
    top = axisHeight;
    for (const lane of lanes) {
      context.fillStyle = colors.text;
      context.textAlign = "left";
      if (!lane.isTraffic) context.fillText(lane.title, 8, top + lane.height / 2);
      top += lane.height;
    }
    if (cursor !== null && x(cursor) >= labelWidth && x(cursor) <= width()) {
      context.fillStyle = colors.text;
      context.fillRect(Math.round(x(cursor)), axisHeight - 8, 1.5, height);
    }
  }

  function requestDraw() {
    if (isDrawing) return;
    isDrawing = true;
    requestAnimationFrame(draw);
  }

  function zoom(factor, center) {
    const middle = center === undefined ? (view.from + view.to) / 2 : center;
    const span = Math.min((whole.to - whole.from) * 1.02,
      Math.max(minSpan, (view.to - view.from) * factor));
    const share = (middle - view.from) / (view.to - view.from);
    setView(middle - span * share, middle + span * (1 - share));
  }

  function setView(from, to) {
    const span = to - from;
    const first = Math.max(-margin, Math.min(from, whole.to + margin - span));
    view.from = first;
    view.to = first + span;
    requestDraw();
  }

  function pan(share) {
    const step = (view.to - view.from) * share;
    setView(view.from + step, view.to + step);
  }

  function showAll() {
    setView(-margin, whole.to + margin);
  }

  function barAt(event) {
    const box = canvas.getBoundingClientRect();
    const at = event.clientX - box.left;
    let top = axisHeight;
    for (const lane of lanes) {
      const isHere = event.clientY - box.top >= top && event.clientY - box.top < top + lane.height;
      top += lane.height;
      if (!isHere) continue;
      // The shortest of those that lie on each other.
      return lane.bars
        .filter((bar) => at >= x(bar.from) - 3 && at <= Math.max(x(bar.to), x(bar.from) + 2.5) + 3)
        .sort((a, b) => a.to - a.from - (b.to - b.from))[0];
    }
    return undefined;
  }

  function showTip(event) {
    const bar = barAt(event);
    tip.hidden = !bar;
    if (!bar) return;
    const box = canvas.getBoundingClientRect();
    tip.textContent =
      bar.text + " · " + durationText(bar.to - bar.from) + " from " + secondsText(bar.from) + " s";
    tip.style.top = event.clientY - box.top + 16 + "px";
    const left = event.clientX - box.left + 12;
    tip.style.left = Math.max(0, Math.min(left, box.width - tip.offsetWidth - 4)) + "px";
  }

  let drag = null;
  canvas.addEventListener("pointerdown", (event) => {
    drag = { at: event.clientX, from: view.from, to: view.to, hasMoved: false };
    canvas.setPointerCapture(event.pointerId);
  });
  canvas.addEventListener("pointermove", (event) => {
    if (!drag) return showTip(event);
    const moved = event.clientX - drag.at;
    if (Math.abs(moved) > 4) drag.hasMoved = true;
    if (!drag.hasMoved) return;
    const shift = (moved / (width() - labelWidth)) * (drag.to - drag.from);
    setView(drag.from - shift, drag.to - shift);
  });
  canvas.addEventListener("pointerup", (event) => {
    const hasMoved = drag && drag.hasMoved;
    drag = null;
    if (hasMoved) return;
    const bar = barAt(event);
    const box = canvas.getBoundingClientRect();
    if (bar && bar.index != null) onPick({ index: bar.index });
    else if (event.clientX - box.left > labelWidth) {
      onPick({ time: timeAt(event.clientX - box.left) });
    }
  });
  canvas.addEventListener("pointerleave", () => (tip.hidden = true));
  canvas.addEventListener(
    "wheel",
    (event) => {
      // Without a key the wheel scrolls the page.
      if (!event.ctrlKey && !event.metaKey) return;
      event.preventDefault();
      const box = canvas.getBoundingClientRect();
      zoom(event.deltaY > 0 ? 1.25 : 0.8, timeAt(event.clientX - box.left));
    },
    { passive: false },
  );
  canvas.addEventListener("keydown", (event) => {
    const actions = {
      "+": () => zoom(0.5),
      "=": () => zoom(0.5),
      "-": () => zoom(2),
      0: showAll,
      ArrowLeft: () => pan(-0.2),
      ArrowRight: () => pan(0.2),
    };
    if (!(event.key in actions)) return;
    actions[event.key]();
    event.preventDefault();
  });
  new ResizeObserver(requestDraw).observe(canvas.parentElement);
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", requestDraw);
  window.addEventListener("beforeprint", () => {
    document.documentElement.classList.add("printing");
    draw();
  });
  window.addEventListener("afterprint", () => {
    document.documentElement.classList.remove("printing");
    draw();
  });
  draw();

  return {
    zoom,
    pan,
    showAll,
    // Marks a moment, and moves the view if it is outside.
    point(time) {
      cursor = time;
      if (time < view.from || time > view.to) {
        const half = (view.to - view.from) / 2;
        setView(time - half, time + half);
      }
      requestDraw();
    },
    // Fills the view with a stretch of time and some room around it.
    show(from, to) {
      const room = Math.max((to - from) * 0.3, minSpan);
      setView(from - room, to + room);
    },
  };
}
