// SPDX-License-Identifier: Apache-2.0
// The types that exist by name only: they can be created and answer their identity, and declare nothing.
#include "frame/model.h"

#define BASE_OF_MODEL QV_GENERICMODEL
#define BASE_OF_STRUCTURE QV_GENERICSTRUCTURE
#define SPECIFIED(NAME)
#define DECLARES_NOTHING(NAME, KIND)            \
  struct QV_EXPORT QV_##NAME : BASE_OF_##KIND { \
    KIND##_TEXT(NAME)                           \
  };                                            \
  EXPORT_MODEL(NAME)
#include "models/catalogue.def"

// The port of the distributed section: a class without a factory.
struct QV_EXPORT QV_MATERIALPORTRP_SI : QV_GENERICPORT {
  PORT_TEXT(MATERIALPORTRP_SI)
};
template QV_Containable* quiver::frame::Create<QV_MATERIALPORTRP_SI>() noexcept;
