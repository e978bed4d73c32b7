// SPDX-License-Identifier: Apache-2.0
// What owns properties: models, structures and ports are containers.
#pragma once

#include "host/property.h"

class QV_API QV_Container : public QV_Type {
 public:
  QV_Container(bool, QV_Container* owner);
  QV_Container(const QV_Container& other) = delete;
  QV_Container& operator=(const QV_Container&) { return *this; }  // an instance keeps its identity
  ~QV_Container() override;
  int QueryInterface(const void* interface_id, void** object) override;
  int GetTypeInfoCount(unsigned* count) override;
  int GetIDsOfNames(const void* reserved, const char** names, unsigned count, unsigned locale,
                    int* ids) override;
  int Invoke(int id, const void* reserved, unsigned locale, unsigned short flags, void* arguments,
             void* result, void* exception, unsigned* argument_error) override;

  QV_Container* Enclosing() const { return enclosing_; }  // null at top level
  virtual void SetDims();
  virtual const char* QV_DefaultDESCRIPTION();
  virtual bool ContainerDerivesFrom(const char* id);

 private:
  friend struct quiver::HostAccess;
  QV_Container* enclosing_;
  quiver::Instance* instance_ = nullptr;  // the host's record, from the first declaration on
};
