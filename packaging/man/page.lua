-- page.lua - a document as a manual page: a name, headings one level up, tables as lists, since
-- a terminal is too narrow for them, and no links and pictures, which lead nowhere there.

function Link(link)
  if link.target:match("^https?:") then return nil end
  return link.content
end

function Image()
  return {}
end

-- Each row is an item: its first cell, and below it the others with their headings.
function Table(table)
  local simple = pandoc.utils.to_simple_table(table)
  local items = {}
  for _, row in ipairs(simple.rows) do
    local blocks = {}
    for column = 2, #row do
      local text = pandoc.utils.blocks_to_inlines(row[column])
      if #text > 0 and column < #row then
        local heading = pandoc.utils.blocks_to_inlines(simple.headers[column])
        heading:extend({pandoc.Str(":"), pandoc.Space()})
        heading:extend(text)
        text = heading
      end
      if #text > 0 then blocks[#blocks + 1] = pandoc.Para(text) end
    end
    items[#items + 1] = {pandoc.utils.blocks_to_inlines(row[1]), {blocks}}
  end
  return pandoc.DefinitionList(items)
end

-- The blocks below the wanted headings of the second level; all if none are named.
local function chosen(blocks, sections)
  if sections == "" then return blocks end
  local kept = pandoc.List()
  local is_wanted = false
  for _, block in ipairs(blocks) do
    if block.t == "Header" and block.level <= 2 then
      is_wanted = sections:find(pandoc.utils.stringify(block) .. "|", 1, true) ~= nil
    end
    if is_wanted then kept:insert(block) end
  end
  return kept
end

function Pandoc(document)
  local name = pandoc.utils.stringify(document.meta.name)
  local description = pandoc.utils.stringify(document.meta.description)
  local sections = pandoc.utils.stringify(document.meta.sections)
  local blocks = pandoc.List({
    pandoc.Header(1, "NAME"), pandoc.Para(name .. " - " .. description),
    pandoc.Header(1, "DESCRIPTION")})
  for index, block in ipairs(chosen(document.blocks, sections)) do
    -- The first heading is the document's title, or the command's name.
    if block.t ~= "Header" or index > 1 then
      if block.t == "Header" and block.level > 1 then block.level = block.level - 1 end
      blocks:insert(block)
    end
  end
  blocks:extend({
    pandoc.Header(1, "SEE ALSO"),
    pandoc.Para("veltra(1), veltra-capture(1), veltra-db(1), veltra-report(1), veltra-wireshark(1)")})
  return pandoc.Pandoc(blocks, document.meta)
end
