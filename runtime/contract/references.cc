// SPDX-License-Identifier: Apache-2.0
#include "host/references.h"

#include "runtime/contract/instance.h"
#include "runtime/contract/memory.h"

using quiver::PropertyKind;

namespace {
void DeclareReference(const quiver::Declaration& declaration) {
  quiver::NotingMemory([&] { quiver::Declare(declaration); });
}
}  // namespace

QV_ExternalBase::~QV_ExternalBase() = default;
QV_Type* QV_ExternalBase::NewTarget() { return nullptr; }
QV_VirtualBase::~QV_VirtualBase() = default;
QV_Type* QV_VirtualBase::NewTarget() { return nullptr; }

void QV_ExternalBase::AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                                  const char* description, QV_Direction direction, bool flag) {
  DeclareReference(
      {PropertyKind::kExternal, nullptr, &holder, nullptr, owner, name, description, direction, flag});
}
void QV_GlobalBase::AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                                const char* description, QV_Direction direction, bool flag) {
  DeclareReference(
      {PropertyKind::kGlobal, nullptr, &holder, nullptr, owner, name, description, direction, flag});
}
void QV_GlobalStructureRefBase::AddProperty(QV_ExternalBase& holder, QV_Container* owner, const char* name,
                                            const char* description, QV_Direction direction, bool flag) {
  DeclareReference({PropertyKind::kStructureReference, nullptr, &holder, nullptr, owner, name, description,
                    direction, flag});
}
void QV_VirtualBase::AddProperty(QV_VirtualBase& holder, QV_Container* owner, const char* name,
                                 const char* description, QV_Direction direction, bool flag) {
  DeclareReference(
      {PropertyKind::kVirtual, nullptr, nullptr, &holder, owner, name, description, direction, flag});
}
