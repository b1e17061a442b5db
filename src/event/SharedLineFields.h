#pragma once

#include <memory>
#include <utility>

#include <pxalog/Data.h>
#include <pxalog/Dictionary.h>

namespace pxa {

class SharedLineFields;
using SharedLineFieldsRef = std::shared_ptr<const SharedLineFields>;

/// The fields that log lines get when they are sent and share with others, written as JSON once for all of them.
/// They never change.
class SharedLineFields {
 public:
  /// Takes the dictionary over. nullptr when log lines cannot share the fields: one of them is no text, or has
  /// the name of something that a line has of its own, or never has.
  static SharedLineFieldsRef of(Dictionary fields);

  /// For of().
  SharedLineFields(Dictionary fields, Data members)
      : fields_(std::move(fields)), members_(std::move(members)) {}

  [[nodiscard]] const Dictionary& fields() const { return fields_; }
  /// The fields as members of a JSON object, each behind a comma.
  [[nodiscard]] const Data& members() const { return members_; }

 private:
  Dictionary fields_;
  Data members_;
};

}  // namespace pxa
