#pragma once

#include <string>
#include <vector>

#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "Foundation/Values/JSONValue.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The common base of what a campaign is made of: filled from the server's JSON, kept in keyed archives.
///
/// Threads: an object is filled by one thread and only read afterwards, by any; what differs is said where it
/// does. Failure: a wrong type at the top level changes nothing, wrong types of single values are kept as
/// they come.
class OQWindowDataModel : public Object, public SecureCoding {
  OQ_CLASS(OQWindowDataModel)

 public:
  static constexpr const char* ArchivedClassName = "OQWindowDataModel";
  static bool supportsSecureCoding() { return true; }

  /// Takes over what the dictionary holds; nothing in the base.
  virtual void setModelWithDic(const JSONValue& dic);
  void encodeWithCoder(KeyedArchiver& coder) const override;
  virtual void initWithCoder(const KeyedUnarchiver& coder);

  /// The registered names of the class and of its superclasses.
  std::string archivedClassName() const override;
  std::vector<std::string> archivedSuperclassNames() const override;
};

}  // namespace oq
