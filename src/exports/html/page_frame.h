// SPDX-License-Identifier: Apache-2.0
// What every page has: the template around it, its head, its sections.

#ifndef RYX_EXPORTS_HTML_PAGE_FRAME_H
#define RYX_EXPORTS_HTML_PAGE_FRAME_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "exports/html/markup.h"

namespace ryx::profiling {

/// What goes into the template. `title` is text, the others are markup.
struct PageParts {
  std::string title;
  std::string head;
  std::string body;
  std::string data;
};

[[nodiscard]] std::string fillTemplate(const PageParts& parts);

/// Id and text of each section that the page can be jumped to.
using SectionList = std::vector<std::pair<std::string_view, std::string_view>>;

/// The top of the page: what it is, its name, facts about it, and a way to each section. `meta` is
/// markup: a <span> for each fact.
[[nodiscard]] std::string pageHead(std::string_view kind, std::string_view name,
                                   std::string_view meta, const SectionList& sections);

/// Opens a section with its title and a sentence about it, which may be empty.
void beginSection(Markup& out, std::string_view id, std::string_view title, std::string_view lead,
                  std::string_view classes = {});

/// A table that can be scrolled sideways with the keyboard, too.
void beginTable(Markup& out, std::string_view label, std::string_view classes = {});
void endTable(Markup& out);

/// A column's header: a number's begins with '#', which is not shown.
void headerRow(Markup& out, const std::vector<std::string_view>& titles);

/// A bar as long as `share`, from `from`, of the cell that it is in.
struct Bar {
  double share = 0;
  double from = 0;
  std::string_view classes = "bar";
  std::string_view fill = "fill";
};
void appendBar(Markup& out, const Bar& bar);

/// The part of a path after its last slash.
[[nodiscard]] std::string_view fileName(std::string_view path);

/// "1 graph", "2 graphs".
[[nodiscard]] std::string plural(uint64_t count, std::string_view noun);

}  // namespace ryx::profiling

#endif
