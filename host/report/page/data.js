// The report's data, as C++ wrote it into the page, and how numbers become text.
"use strict";

const data = JSON.parse(document.getElementById("data").textContent);

const layerNames = { a: "at", r: "rrc", n: "nas", i: "ip", o: "other" };

const wayTexts = {
  u: "modem to network",
  d: "network to modem",
  c: "host to modem",
  a: "modem to host",
  "-": "direction unknown",
};

// Nanoseconds since the start as seconds, with microseconds.
function secondsText(nanoseconds) {
  return (nanoseconds / 1e9).toFixed(6);
}

function durationText(nanoseconds) {
  const ms = nanoseconds / 1e6;
  if (ms < 100) return ms.toFixed(1) + " ms";
  if (ms < 1000) return ms.toFixed(0) + " ms";
  if (ms < 60000) return (ms / 1000).toFixed(2) + " s";
  const seconds = Math.round(ms / 1000);
  if (seconds < 3600) return Math.floor(seconds / 60) + " min " + (seconds % 60) + " s";
  return Math.floor(seconds / 3600) + " h " + Math.floor((seconds % 3600) / 60) + " min";
}

// The bytes of message `index`, out of one base64 text for all of them.
function bytesOf(index) {
  const begin = index === 0 ? 0 : data.byteEnds[index - 1];
  const end = data.byteEnds[index];
  const text = document.getElementById("bytes").textContent;
  // Four characters are three bytes.
  const firstGroup = Math.floor(begin / 3);
  const lastGroup = Math.ceil(end / 3);
  const binary = atob(text.slice(firstGroup * 4, lastGroup * 4));
  const result = new Uint8Array(end - begin);
  for (let i = 0; i < result.length; i++) {
    result[i] = binary.charCodeAt(begin - firstGroup * 3 + i);
  }
  return result;
}

function hexDump(bytes) {
  const lines = [];
  for (let at = 0; at < bytes.length; at += 16) {
    const row = Array.from(bytes.subarray(at, at + 16));
    const hex = row.map((byte) => byte.toString(16).padStart(2, "0")).join(" ");
    const text = row
      .map((byte) => (byte >= 0x20 && byte < 0x7f ? String.fromCharCode(byte) : "."))
      .join("");
    lines.push(at.toString(16).padStart(4, "0") + "  " + hex.padEnd(48) + " " + text);
  }
  return lines.join("\n");
}

// The procedures of each message, shortest first: message index to procedure indices.
const proceduresOf = new Map();
data.procedures.forEach((procedure, number) => {
  for (const index of procedure.messages) {
    if (!proceduresOf.has(index)) proceduresOf.set(index, []);
    proceduresOf.get(index).push(number);
  }
});
for (const numbers of proceduresOf.values()) {
  const length = (number) => data.procedures[number].end - data.procedures[number].begin;
  numbers.sort((a, b) => length(a) - length(b));
}

function element(tag, className, text) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  if (text !== undefined) made.textContent = text;
  return made;
}
