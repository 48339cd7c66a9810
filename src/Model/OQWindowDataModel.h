// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "Foundation/Values/JSONValue.h"
#include "Foundation/Values/Number.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// The common base of a campaign's parts: filled from the server's JSON, stored in keyed archives.
///
/// Threads: an object is filled by one thread and afterwards only read, by any thread. Failure: JSON that is not a
/// dictionary changes nothing. Single values of a wrong type are kept unchanged; if a number is needed, they are
/// converted by integerValue() or doubleValue(). Subclasses document exceptions to these rules.
class OQWindowDataModel : public Object, public SecureCoding {
  OQ_CLASS(OQWindowDataModel)

 public:
  static constexpr const char* ArchivedClassName = "OQWindowDataModel";
  static bool supportsSecureCoding() { return true; }

  /// Takes over the dictionary's values; has no effect in the base class.
  virtual void setModelWithDic(const JSONValue& dic);
  void encodeWithCoder(KeyedArchiver& coder) const override;
  virtual void initWithCoder(const KeyedUnarchiver& coder);

  /// The registered names of the class and of its superclasses.
  std::string archivedClassName() const override;
  std::vector<std::string> archivedSuperclassNames() const override;
};

// OQWindowData and OQWindowEvent list their fields once, in visitFields(), with the key of each field in the server's
// JSON and in archives. The function objects below are the visitors.

/// Reads fields from a dictionary; missing ones become 0 or null. Nested models are always created.
struct FieldsFromDictionary {
  const JSONValue& dic;

  void operator()(const char* key, const char*, JSONValue& field) const { field = valueForKey(dic, key); }
  void operator()(const char* key, const char*, std::int64_t& field) const {
    field = integerValue(valueForKey(dic, key));
  }
  void operator()(const char* key, const char*, double& field) const { field = doubleValue(valueForKey(dic, key)); }
  template <class Model>
  void operator()(const char* key, const char*, std::shared_ptr<Model>& field) const {
    field = std::make_shared<Model>();
    field->setModelWithDic(valueForKey(dic, key));
  }
};

struct FieldsToArchive {
  KeyedArchiver& coder;

  void operator()(const char*, const char* key, const JSONValue& field) const { coder.encodeObject(field, key); }
  void operator()(const char*, const char* key, const std::int64_t& field) const { coder.encodeInteger(field, key); }
  void operator()(const char*, const char* key, const double& field) const { coder.encodeDouble(field, key); }
  template <class Model>
  void operator()(const char*, const char* key, const std::shared_ptr<Model>& field) const {
    coder.encodeObject(field, key);
  }
};

struct FieldsFromArchive {
  const KeyedUnarchiver& coder;

  void operator()(const char*, const char* key, JSONValue& field) const { field = coder.decodeValue(key); }
  void operator()(const char*, const char* key, std::int64_t& field) const { field = coder.decodeInteger(key); }
  void operator()(const char*, const char* key, double& field) const { field = coder.decodeDouble(key); }
  template <class Model>
  void operator()(const char*, const char* key, std::shared_ptr<Model>& field) const {
    field = coder.decodeObjectOf<Model>(key);
  }
};

}  // namespace oq
