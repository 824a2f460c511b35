-- Turns **name**(N) into a link to the HTML page that documents name in
-- section N. The table of names (name, page, section on each line, tab
-- separated) is the file named by KX_DOC_NAMES.
local pages = {}
local names = os.getenv("KX_DOC_NAMES")
if names then
  for line in io.lines(names) do
    local name, page, section = line:match("^(%S+)\t(%S+)\t(%S+)$")
    if name then pages[name .. "(" .. section .. ")"] = page .. "." .. section .. ".html" end
  end
end

function Inlines(inlines)
  for i = 1, #inlines - 1 do
    local strong, after = inlines[i], inlines[i + 1]
    if strong.t == "Strong" and after.t == "Str" then
      local name = pandoc.utils.stringify(strong)
      local section = after.text:match("^%((%d)%)")
      local target = section and pages[name .. "(" .. section .. ")"]
      if target then inlines[i] = pandoc.Link({strong}, target) end
    end
  end
  return inlines
end
