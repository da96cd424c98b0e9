// SPDX-License-Identifier: Apache-2.0
// The page without script: what is here can be read, printed and searched where no script runs, and
// the script draws over it. Markers are replaced in the order in which they are in the template, in
// one go from front to back, so that a name that looks like a marker is never taken for one.

#include "exports/html/page_frame.h"

#include <algorithm>

#include "base/number_text.h"
#include "base/version.h"
#include "exports/html/page_template.h"
#include "exports/html/quantities.h"

namespace ryx::profiling {

std::string fillTemplate(const PageParts& parts) {
  const std::string title = Markup().text(shownName(parts.title)).str();
  const std::string version = kToolVersion;
  const std::pair<std::string_view, const std::string*> markers[] = {
      {"{{title}}", &title},     {"{{head}}", &parts.head}, {"{{body}}", &parts.body},
      {"{{version}}", &version}, {"{{data}}", &parts.data},
  };
  // In the order in which they stand; what replaces one is not searched for the others.
  std::string page;
  std::string_view rest = pageTemplate();
  page.reserve(rest.size() + parts.body.size() + parts.data.size() + 4096);
  for (const auto& [marker, content] : markers) {
    const size_t place = rest.find(marker);
    page.append(rest.substr(0, place)).append(*content);
    rest.remove_prefix(place + marker.size());
  }
  return page.append(rest);
}

std::string pageHead(std::string_view kind, std::string_view name, std::string_view meta,
                     const SectionList& sections) {
  Markup out;
  out.raw("<header class=\"top\"><div class=\"wrap\"><div><p class=\"kind\">").text(kind);
  out.raw("</p><h1>").name(name).raw("</h1><p class=\"meta\">").raw(meta);
  out.raw("</p></div><div id=\"page-tools\"></div></div></header>\n");
  out.raw("<nav class=\"sections\" aria-label=\"Sections\"><div class=\"wrap\">");
  for (const auto& [id, text] : sections)
    out.raw("<a href=\"#").raw(id).raw("\">").text(text).raw("</a>");
  out.raw("<span class=\"graph-host\"></span></div></nav>\n");
  return out.str();
}

void beginSection(Markup& out, std::string_view id, std::string_view title, std::string_view lead,
                  std::string_view classes) {
  out.raw("<section id=\"").raw(id);
  if (!classes.empty()) out.raw("\" class=\"").raw(classes);
  out.raw("\">\n<h2>").text(title).raw("</h2>\n");
  if (!lead.empty()) out.raw("<p class=\"lead\">").text(lead).raw("</p>\n");
}

void beginTable(Markup& out, std::string_view label, std::string_view classes) {
  out.raw("<div class=\"panel scrolls ").raw(classes);
  out.raw("\" tabindex=\"0\" role=\"region\" aria-label=\"").text(label).raw("\"><table>\n");
}

void endTable(Markup& out) { out.raw("</tbody></table></div>\n"); }

void headerRow(Markup& out, const std::vector<std::string_view>& titles) {
  out.raw("<thead><tr>");
  for (std::string_view title : titles) {
    const bool isNumber = !title.empty() && title.front() == '#';
    if (isNumber) title.remove_prefix(1);
    if (title.empty())
      out.raw("<td></td>");
    else
      out.raw(isNumber ? "<th scope=\"col\" class=\"number\">" : "<th scope=\"col\">")
          .text(title)
          .raw("</th>");
  }
  out.raw("</tr></thead>\n<tbody>\n");
}

void appendBar(Markup& out, const Bar& bar) {
  const auto percent = [](double share) {
    return fixedPoint(100 * std::clamp(share, 0.0, 1.0), 2) + "%";
  };
  out.raw("<svg class=\"").raw(bar.classes).raw("\" aria-hidden=\"true\">");
  out.raw("<rect class=\"rail\" width=\"100%\" height=\"100%\" rx=\"3\"/><rect class=\"");
  out.raw(bar.fill).raw("\" x=\"").raw(percent(bar.from));
  out.raw("\" width=\"").raw(percent(bar.share)).raw("\" height=\"100%\" rx=\"2\"/></svg>");
}

std::string_view fileName(std::string_view path) {
  const size_t slash = path.find_last_of('/');
  const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  return name.empty() ? path : name;
}

std::string plural(uint64_t count, std::string_view noun) {
  return groupedCount(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

}  // namespace ryx::profiling
