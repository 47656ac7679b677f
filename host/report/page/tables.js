// Tables that sort by a column when its heading is pressed.
"use strict";

for (const table of document.querySelectorAll("table.sortable")) {
  const headings = [...table.tHead.rows[0].cells];
  headings.forEach((heading, column) => {
    const button = document.createElement("button");
    button.type = "button";
    button.append(...heading.childNodes);
    heading.append(button);
    button.addEventListener("click", () => {
      const isUp = heading.getAttribute("aria-sort") === "ascending";
      for (const each of headings) each.removeAttribute("aria-sort");
      heading.setAttribute("aria-sort", isUp ? "descending" : "ascending");
      const key = (row) => {
        const cell = row.cells[column];
        return cell.dataset.value !== undefined ? Number(cell.dataset.value) : cell.textContent;
      };
      const rows = [...table.tBodies[0].rows].map((row) => ({ row, key: key(row) }));
      const order = (a, b) =>
        typeof a.key === "number" && typeof b.key === "number"
          ? a.key - b.key
          : String(a.key).localeCompare(String(b.key));
      rows.sort((a, b) => (isUp ? order(b, a) : order(a, b)));
      table.tBodies[0].append(...rows.map((each) => each.row));
    });
  });
}
