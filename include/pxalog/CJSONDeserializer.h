#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include <pxalog/Array.h>
#include <pxalog/Dictionary.h>
#include <pxalog/Error.h>

namespace pxa {

/// Reads JSON text into values. The text may be UTF-8, UTF-16 or UTF-32 in either byte order, which is told
/// by its first four bytes. Beyond JSON, single quotes are taken around strings, a comma is taken before a
/// closing bracket, and numbers may begin with zeros.
///
/// Integers become Numbers of kind Int64 with a minus sign, UInt64 without one, and Decimal where they do not
/// fit; numbers with a fraction or an exponent Double, correctly rounded, or Decimal where the digits before
/// the point do not fit UInt64. Equal keys share one String, as far as a cache of bounded size remembers them.
/// Of a key that comes twice in one dictionary the last value counts. Nesting is limited by memory alone.
/// What is read of one text lies in blocks of at most 8 KiB, large things alone; a block lives as long as one
/// of the strings and containers in it.
///
/// On failure operations return nothing and, where an error is asked for, say why: domain kErrorDomain, a
/// code, where in the text ("line", "character", "location", "snippet") and, where one failure caused
/// another, the cause (Error::underlyingError). One object is for one thread at a time.
class PXALOG_EXPORT CJSONDeserializer {
 public:
  static const char* const kErrorDomain;

  /// Options.
  static constexpr unsigned kMutableContainers = 1;  ///< without it containers ignore changes
  static constexpr unsigned kMutableLeaves = 2;      ///< strings of their own; no String can be changed
  static constexpr unsigned kAllowFragments = 4;     ///< a text may be a string, a number, a boolean or null
  static constexpr unsigned kLaxEscapes = 8;         ///< an unknown escape gives its character alone

  /// A new reader with option kMutableContainers.
  static CJSONDeserializer deserializer() { return {}; }

  CJSONDeserializer();
  ~CJSONDeserializer();
  CJSONDeserializer(CJSONDeserializer&& other) noexcept;
  CJSONDeserializer& operator=(CJSONDeserializer&& other) noexcept;

  /// One value and nothing behind it but white space. Nothing without an error: a null while nulls are left
  /// out. Selector: deserialize:error:
  std::optional<Value> deserialize_error(const Data& data, Error* error = nullptr);
  /// A text that begins with "{" ("["); what follows the value is not looked at. nil on failure.
  /// Selectors: deserializeAsDictionary:error:, deserializeAsArray:error:
  Dictionary deserializeAsDictionary_error(const Data& data, Error* error = nullptr);
  Array deserializeAsArray_error(const Data& data, Error* error = nullptr);

  /// What a null becomes; at first the null value. With nothing, nulls are left out of their containers.
  [[nodiscard]] const std::optional<Value>& nullObject() const noexcept { return nullObject_; }
  void setNullObject(std::optional<Value> nullObject) { nullObject_ = std::move(nullObject); }

  [[nodiscard]] unsigned options() const noexcept { return options_; }
  void setOptions(unsigned options) noexcept { options_ = options; }

  /// How many bytes of the text, as UTF-8, the last operation has taken.
  [[nodiscard]] std::size_t scanLocation() const noexcept { return scanLocation_; }

 private:
  template <class Scan>
  bool scan(const Data& data, Error* error, Scan scanText);

  std::optional<Value> nullObject_ = Value();
  unsigned options_ = kMutableContainers;
  std::size_t scanLocation_ = 0;
  std::unique_ptr<class JsonKeyCache> stringsByHash_;
};

/// Reads a text with a new reader; what it holds may be any container. Selectors:
/// dictionaryWithJSONData:error:, dictionaryWithJSONString:error:
PXALOG_EXPORT std::optional<Value> dictionaryWithJSONData_error(const Data& data, Error* error = nullptr);
PXALOG_EXPORT std::optional<Value> dictionaryWithJSONString_error(const String& string,
                                                                  Error* error = nullptr);

}  // namespace pxa
