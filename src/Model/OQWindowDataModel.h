// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The common base of a campaign's parts: filled from the server's JSON, stored in keyed archives.
///
/// Threads: an object is filled by one thread and afterwards only read, by any thread; exceptions are documented.
/// Failure: a wrong type at the top level changes nothing; single values of the wrong type are kept unchanged.
class OQWindowDataModel : public Object, public SecureCoding {
  OQ_CLASS(OQWindowDataModel)

 public:
  static constexpr const char* ArchivedClassName = "OQWindowDataModel";
  static bool supportsSecureCoding() { return true; }

  /// Takes over the dictionary's values; has no effect in the base.
  virtual void setModelWithDic(const JSONValue& dic);
  void encodeWithCoder(KeyedArchiver& coder) const override;
  virtual void initWithCoder(const KeyedUnarchiver& coder);

  /// The registered names of the class and of its superclasses.
  std::string archivedClassName() const override;
  std::vector<std::string> archivedSuperclassNames() const override;
};

}  // namespace oq
