// SPDX-License-Identifier: Apache-2.0
// What this library tells about itself: its blocks. Procedures and option types are the model library's, which lists them.
//
//   quiver list models        the blocks at the end, with the library that they come from
#include "host/library.h"

class QV_EXPORT QV_ModelLibrary {
 public:
  static const QV_ModelRow* Models(long long* count);
};

const QV_ModelRow* QV_ModelLibrary::Models(long long* count) {
#define BLOCK(NAME) {#NAME, "Model " #NAME "\tV11", "true"},
  static const QV_ModelRow rows[] = {
#include "blocks/catalogue.def"
  };
#undef BLOCK
  *count = static_cast<long long>(sizeof rows / sizeof rows[0]);
  return rows;
}
