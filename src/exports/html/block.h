// SPDX-License-Identifier: Apache-2.0
// A block of the page's data: texts, and tables of packed columns. docs/page.md has the layout, and
// page/src/data.ts reads it.

#ifndef RYX_EXPORTS_HTML_BLOCK_H
#define RYX_EXPORTS_HTML_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/keyed_hash.h"
#include "exports/html/deflate.h"

namespace ryx::profiling {

/// A column's values in as few bytes as they need.
struct PackedColumn {
  int width = 0;
  double base = 0;
  std::string planes;
};

/// Packs values, of which NaN is absent.
[[nodiscard]] PackedColumn packColumn(const std::vector<double>& values);

class Block {
 public:
  /// The position of a text among the block's, which it joins if it is new.
  [[nodiscard]] double textIndex(std::string_view text);

  /// The columns that are added from here on belong to this table, and have that many rows.
  void beginTable(std::string_view name, size_t rows);

  void addColumn(std::string_view name, const std::vector<double>& values);
  /// The same, of a column that was packed and deflated before.
  void addColumn(std::string_view name, const PackedColumn& column, DeflatedPiece deflated);

  /// The element that carries the block.
  [[nodiscard]] std::string script(std::string_view id, Deflater& deflater) const;

 private:
  struct Entry {
    std::string name;
    int width;
    double base;
  };
  struct TableEntry {
    std::string name;
    size_t rows;
    std::vector<Entry> columns;
  };

  [[nodiscard]] std::string directory() const;

  std::vector<std::string> texts_;
  std::unordered_map<std::string, size_t, KeyedHash> textIndexes_;
  std::vector<TableEntry> tables_;
  std::string plain_;                    ///< columns that are not deflated yet
  std::vector<DeflatedPiece> deflated_;  ///< all of them are after those
};

/// The element that carries these bytes, deflated.
[[nodiscard]] std::string dataScript(std::string_view id, std::string_view bytes,
                                     Deflater& deflater);

}  // namespace ryx::profiling

#endif
