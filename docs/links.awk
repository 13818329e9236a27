# Makes the links of a paper fit for Doxygen, which knows headings by no name of its own: "## Set up" of
# guide.md becomes "guide-set-up", links to "#set-up" follow, and links to files that are no papers lead
# from build/docs to where they are.

function slug(text) {
  text = tolower(text)
  gsub(/[^a-z0-9_ -]/, "", text)
  gsub(/ /, "-", text)
  return text
}

function paper(path) {
  sub(/.*\//, "", path)
  sub(/\.md$/, "", path)
  return slug(path)
}

function target(link,  mark) {
  mark = index(link, "#")
  if (mark == 1) return "#" paper(FILENAME) "-" substr(link, 2)
  if (mark > 1) return "#" paper(substr(link, 1, mark - 1)) "-" substr(link, mark + 1)
  if (link ~ /\.md$/) return link
  if (FILENAME ~ /\/docs\/[^\/]*$/ && !sub(/^\.\.\//, "", link)) link = "docs/" link
  return "../../" link
}

/^```/ { inside = !inside }

!inside && /^##+ / {
  text = $0
  sub(/^#+ /, "", text)
  anchor = paper(FILENAME) "-" slug(text)
  if (seen[anchor]++) anchor = anchor "-" (seen[anchor] - 1)
  print $0 " {#" anchor "}"
  next
}

!inside {
  out = ""
  while (match($0, /\]\([A-Za-z0-9_.\/#-]+\)/)) {
    out = out substr($0, 1, RSTART + 1) target(substr($0, RSTART + 2, RLENGTH - 3)) ")"
    $0 = substr($0, RSTART + RLENGTH)
  }
  $0 = out $0
}

{ print }
