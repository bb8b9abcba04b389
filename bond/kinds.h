#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "bond/blob.h"
#include "bond/describe.h"
#include "bond/maybe.h"
#include "bond/nullable.h"

/// The kinds of a field. A type that a contract may use is of one kind, and of one only. Each format
/// is a class with an overload for each kind, so that a kind without one does not compile.
namespace bond {

template <class T>
concept Bool = std::same_as<T, bool>;
template <class T>
concept Int32 = std::same_as<T, std::int32_t>;
template <class T>
concept Double = std::same_as<T, double>;
template <class T>
concept Text = std::same_as<T, std::string>;
template <class T>
concept Enumeration = std::is_enum_v<T>;
template <class T>
concept Blob = std::same_as<T, blob>;
template <class T>
concept Nullable = std::same_as<T, nullable<typename T::value_type>>;
template <class T>
concept List = std::same_as<T, std::vector<typename T::value_type>>;
template <class T>
concept Map = std::same_as<T, std::map<typename T::key_type, typename T::mapped_type>>;
template <class T>
concept Maybe = std::same_as<T, maybe<typename T::value_type>>;
template <class T>
concept Record = Described<T>;

/// The kinds whose default is a value like any other.
template <class T>
concept Basic = Bool<T> || Int32<T> || Double<T> || Text<T> || Enumeration<T>;

/// The kinds that travel as a count and what is counted. Their default is to be empty.
template <class T>
concept Container = Blob<T> || Nullable<T> || List<T> || Map<T>;

}  // namespace bond
