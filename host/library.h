// SPDX-License-Identifier: Apache-2.0
// What a model library tells about itself: the exported class QV_ModelLibrary with static tables. Rows and
// texts are constant for as long as the library is loaded. A library of one's own exports the same class.
#pragma once

#include "host/export.h"
#include "host/property.h"

struct QV_ModelRow {
  const char* name;       // the exported type name: <name>Factory
  const char* identity;   // what QV_ContainerId answers
  const char* specified;  // "true", "partial" or "false": what the type declares today
};

struct QV_ProcedureRow {
  const char* class_name;
  const char* routine;
  const char* library;
  int inputs, outputs, dimensions, variant;
  const unsigned char* types;        // one per argument, inputs first
  const unsigned char* dims;         // one per argument
  const unsigned char* is_variable;  // one per input
  bool derivatives, precall, postcall, always_call, component_list;
};

struct QV_OptionTypeRow {
  const char* name;
  const char* base;
  QV_Type* (*create)();  // a holder of the type, to ask for its defaults
};

class QV_ModelLibrary;
using QV_ModelRowsFunction = const QV_ModelRow* (*)(long long* count);
using QV_ProcedureRowsFunction = const QV_ProcedureRow* (*)(long long* count);
using QV_OptionTypeRowsFunction = const QV_OptionTypeRow* (*)(long long* count);

// Names under which the static members are found in the library (the same on every supported platform).
#define QV_LIBRARY_MODELS_SYMBOL "_ZN15QV_ModelLibrary6ModelsEPx"
#define QV_LIBRARY_PROCEDURES_SYMBOL "_ZN15QV_ModelLibrary10ProceduresEPx"
#define QV_LIBRARY_OPTION_TYPES_SYMBOL "_ZN15QV_ModelLibrary11OptionTypesEPx"
