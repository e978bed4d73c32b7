// SPDX-License-Identifier: Apache-2.0
#include "frame/procedure_call.h"

namespace quiver::frame {

CallArgument ScalarArgument(const QV_VarParam& holder) {
  CallArgument call;
  call.kind = CallArgument::kScalar;
  call.scalar = const_cast<QV_VarParam*>(&holder);
  return call;
}

CallArgument ArrayArgument(const QV_ArrayBase& array) {
  CallArgument call;
  call.kind = CallArgument::kElements;
  call.array = const_cast<QV_ArrayBase*>(&array);
  const long long count = array.Count();
  call.elements = static_cast<QV_VarParam**>(
      ArenaAllocate(sizeof(QV_VarParam*) * static_cast<unsigned long long>(count + 1)));
  for (long long i = 0; i < count; ++i) call.elements[i] = static_cast<QV_VarParam*>(&array.At(i));
  call.rank = array.Rank();
  for (int k = 0; k < call.rank; ++k) call.sizes[k] = static_cast<int>(array.Size(k));
  return call;
}

CallArgument SliceArgument(const Slice& slice) {
  CallArgument call;
  call.kind = CallArgument::kElements;
  call.elements = slice.elements;
  call.rank = 1;
  call.sizes[0] = slice.count;
  return call;
}

void HandOver(const ProcedureText& text, QV_DynamicProcExtensions& procedure) {
  for (const CallArgument* call = text.arguments; call != text.arguments + text.count; ++call) {
    switch (call->kind) {
      case CallArgument::kScalar:
        procedure.Argument(*call->scalar);
        break;
      case CallArgument::kElements: {
        if (call->array) procedure.WholeArray(*call->array);
        procedure.Argument();
        long long count = 1;
        for (int k = 0; k < call->rank; ++k) {
          procedure.SetDimensionSize(call->sizes[k]);
          count *= call->sizes[k];
        }
        for (long long i = 0; i < count; ++i) procedure.Element(*call->elements[i]);
        break;
      }
      case CallArgument::kInteger:
        procedure.Argument(call->integer);
        break;
      case CallArgument::kReal:
        procedure.Argument(call->real);
        break;
      case CallArgument::kText:
        procedure.Argument(call->text);
        break;
      case CallArgument::kIntegerIterator:
        procedure.Argument(*call->integer_iterator);
        break;
      case CallArgument::kStringIterator:
        procedure.Argument(*call->string_iterator);
        break;
    }
  }
  procedure.LastArgument();
}

}  // namespace quiver::frame
