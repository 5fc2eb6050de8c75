#pragma once

#include "Core/Errors.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>

#include <array>
#include <cstdint>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

/// Each type has one JSON form: a constexpr function `jsonForm` beside the type.
///     struct Presign { QString url; };
///     constexpr auto jsonForm(const Presign*) {
///         return json::record("Presign", json::field("url", &Presign::url));
///     }
/// A field is a QString, a bool, a double, a std::int64_t, an enumeration or record with a form, a
/// std::vector of these, or a std::optional of any of them. Only an optional may be absent; it is left out.
/// Unknown keys are ignored.
namespace tavro {

/// A failure of the JSON coder. The text names the record and the key.
class JsonError final : public Error {
public:
    enum class Case { malformed, missingKey, wrongType, unknownName, notFinite };
    JsonError(Case which, QString message)
        : Error(QStringLiteral("Tavro.JSON"), static_cast<int>(which), std::move(message),
              {Cause::answerNotUnderstood}) {}
    Case which() const { return static_cast<Case>(code()); }
};

namespace json {

template <class Record, class Value>
struct Field {
    const char* key;
    Value Record::*member;
};

template <class Record, class... Values>
struct RecordForm {
    const char* name;
    std::tuple<Field<Record, Values>...> fields;
};

template <class Enum, std::size_t count>
struct EnumForm {
    const char* name;
    std::array<std::pair<Enum, const char*>, count> names; ///< in the order of the enumerators
};

/// One alternative of a variant: its JSON type name and the key of its record. Without a key the record's
/// fields stand beside the type.
struct Alternative {
    const char* type;
    const char* payloadKey = nullptr;
};

template <std::size_t count>
struct VariantForm {
    const char* name;
    const char* typeKey;
    std::array<Alternative, count> alternatives; ///< in the order of the variant
};

template <class Record, class Value>
constexpr auto field(const char* key, Value Record::*member) {
    return Field<Record, Value>{key, member};
}

template <class Record, class... Values>
constexpr auto record(const char* name, Field<Record, Values>... fields) {
    return RecordForm<Record, Values...>{name, {fields...}};
}

template <class Record>
constexpr auto emptyRecord(const char* name) {
    return RecordForm<Record>{name, {}};
}

template <class Enum, std::size_t count>
constexpr auto enumeration(const char* name, const std::pair<Enum, const char*> (&names)[count]) {
    return EnumForm<Enum, count>{name, std::to_array(names)};
}

template <std::size_t count>
constexpr auto variant(const char* name, const char* typeKey, const Alternative (&alternatives)[count]) {
    return VariantForm<count>{name, typeKey, std::to_array(alternatives)};
}

/// The position of a value in the JSON, for the error text.
struct Place {
    const char* record = nullptr;
    const char* key = nullptr;
};

[[noreturn]] void refuse(JsonError::Case which, Place place);
QJsonValue encodeNumber(double value, Place place);
QString decodeText(const QJsonValue& value, Place place);
bool decodeBool(const QJsonValue& value, Place place);
double decodeNumber(const QJsonValue& value, Place place);
std::int64_t decodeInteger(const QJsonValue& value, Place place);
QJsonObject decodeObject(const QJsonValue& value, Place place);
QJsonArray decodeArray(const QJsonValue& value, Place place);
QByteArray write(const QJsonValue& value);
QJsonValue parse(const QByteArray& bytes, Place place);

template <class T>
constexpr auto formOf() {
    return jsonForm(static_cast<const T*>(nullptr));
}

template <class T>
struct ListElement : std::type_identity<void> {};
template <class T>
struct ListElement<std::vector<T>> : std::type_identity<T> {};
template <class T>
inline constexpr bool isList = !std::is_void_v<typename ListElement<T>::type>;
template <class T>
struct OptionalValue : std::type_identity<void> {};
template <class T>
struct OptionalValue<std::optional<T>> : std::type_identity<T> {};
template <class T>
inline constexpr bool isOptional = !std::is_void_v<typename OptionalValue<T>::type>;

template <class T>
QJsonValue encode(const T& value, Place place);
template <class T>
T decode(const QJsonValue& value, Place place);

template <class Record, class Value>
void encodeField(
    QJsonObject& object, const Record& record, const Field<Record, Value>& field, const char* name) {
    const Value& value = record.*field.member;
    const Place place{name, field.key};
    if constexpr (!isOptional<Value>)
        object.insert(QLatin1String(field.key), encode(value, place));
    else if (value)
        object.insert(QLatin1String(field.key), encode(*value, place));
}

template <class Record, class Value>
void decodeField(
    const QJsonObject& object, Record& record, const Field<Record, Value>& field, const char* name) {
    const QJsonValue value = object.value(QLatin1String(field.key));
    const Place place{name, field.key};
    if constexpr (!isOptional<Value>) {
        if (value.isUndefined())
            refuse(JsonError::Case::missingKey, place);
        record.*field.member = decode<Value>(value, place);
    } else if (!value.isUndefined() && !value.isNull()) {
        record.*field.member = decode<typename OptionalValue<Value>::type>(value, place);
    }
}

template <class Record, class... Values>
QJsonValue encodeAs(const RecordForm<Record, Values...>& form, const Record& record, Place) {
    QJsonObject object;
    std::apply(
        [&](const auto&... field) { (encodeField(object, record, field, form.name), ...); }, form.fields);
    return object;
}

template <class Record, class... Values>
Record decodeAs(const RecordForm<Record, Values...>& form, std::type_identity<Record>,
    const QJsonValue& value, Place place) {
    const QJsonObject object = decodeObject(value, place.record ? place : Place{form.name});
    Record record;
    std::apply(
        [&](const auto&... field) { (decodeField(object, record, field, form.name), ...); }, form.fields);
    return record;
}

template <class Enum, std::size_t count>
QJsonValue encodeAs(const EnumForm<Enum, count>& form, Enum value, Place) {
    return QLatin1String(form.names.at(static_cast<std::size_t>(value)).second);
}

template <class Enum, std::size_t count>
Enum decodeAs(
    const EnumForm<Enum, count>& form, std::type_identity<Enum>, const QJsonValue& value, Place place) {
    const QString text = decodeText(value, place);
    for (const auto& [enumerator, name] : form.names)
        if (text == QLatin1String(name))
            return enumerator;
    refuse(JsonError::Case::unknownName, place);
}

template <std::size_t count, class... Alternatives>
QJsonValue encodeAs(const VariantForm<count>& form, const std::variant<Alternatives...>& value, Place) {
    static_assert(count == sizeof...(Alternatives));
    const Alternative& chosen = form.alternatives.at(value.index());
    const QJsonObject record = std::visit(
        [&](const auto& held) {
            return encode(held, {form.name, chosen.payloadKey}).toObject();
        },
        value);
    QJsonObject object = chosen.payloadKey ? QJsonObject{{QLatin1String(chosen.payloadKey), record}} : record;
    object.insert(QLatin1String(form.typeKey), QLatin1String(chosen.type));
    return object;
}

template <class Variant, class Held>
Variant decodeAlternative(const QJsonObject& object, const char* name, const Alternative& chosen) {
    if (!chosen.payloadKey)
        return decode<Held>(object, {name});
    const QJsonValue payload = object.value(QLatin1String(chosen.payloadKey));
    if (payload.isUndefined())
        refuse(JsonError::Case::missingKey, {name, chosen.payloadKey});
    return decode<Held>(payload, {name, chosen.payloadKey});
}

template <std::size_t count, class... Alternatives>
std::variant<Alternatives...> decodeAs(const VariantForm<count>& form,
    std::type_identity<std::variant<Alternatives...>>, const QJsonValue& value, Place place) {
    static_assert(count == sizeof...(Alternatives));
    using Variant = std::variant<Alternatives...>;
    using Decoder = Variant (*)(const QJsonObject&, const char*, const Alternative&);
    constexpr Decoder decoders[] = {&decodeAlternative<Variant, Alternatives>...};

    const QJsonObject object = decodeObject(value, place.record ? place : Place{form.name});
    const Place typePlace{form.name, form.typeKey};
    const QJsonValue typeValue = object.value(QLatin1String(form.typeKey));
    if (typeValue.isUndefined())
        refuse(JsonError::Case::missingKey, typePlace);
    const QString type = decodeText(typeValue, typePlace);
    for (std::size_t i = 0; i < count; ++i)
        if (type == QLatin1String(form.alternatives[i].type))
            return decoders[i](object, form.name, form.alternatives[i]);
    refuse(JsonError::Case::unknownName, typePlace);
}

template <class T>
QJsonValue encode(const T& value, Place place) {
    if constexpr (std::is_same_v<T, QString> || std::is_same_v<T, bool>) {
        return value;
    } else if constexpr (std::is_same_v<T, double>) {
        return encodeNumber(value, place);
    } else if constexpr (std::is_same_v<T, std::int64_t>) {
        return static_cast<qint64>(value);
    } else if constexpr (isList<T>) {
        QJsonArray array;
        for (const auto& element : value)
            array.append(encode(element, place));
        return array;
    } else {
        return encodeAs(formOf<T>(), value, place);
    }
}

template <class T>
T decode(const QJsonValue& value, Place place) {
    if constexpr (std::is_same_v<T, QString>) {
        return decodeText(value, place);
    } else if constexpr (std::is_same_v<T, bool>) {
        return decodeBool(value, place);
    } else if constexpr (std::is_same_v<T, double>) {
        return decodeNumber(value, place);
    } else if constexpr (std::is_same_v<T, std::int64_t>) {
        return decodeInteger(value, place);
    } else if constexpr (isList<T>) {
        T list;
        for (const QJsonValue& element : decodeArray(value, place))
            list.push_back(decode<typename T::value_type>(element, place));
        return list;
    } else {
        return decodeAs(formOf<T>(), std::type_identity<T>(), value, place);
    }
}

template <class T>
constexpr Place topPlace() {
    if constexpr (isList<T>)
        return topPlace<typename T::value_type>();
    else
        return {formOf<T>().name};
}

} // namespace json

/// The compact JSON text of a record, an event or a list of them. Throws JsonError. Any thread.
template <class T>
QByteArray encodeJson(const T& value) {
    return json::write(json::encode(value, json::topPlace<T>()));
}

/// Reads what `encodeJson` writes. Throws JsonError. Any thread.
template <class T>
T decodeJson(const QByteArray& bytes) {
    constexpr json::Place place = json::topPlace<T>();
    return json::decode<T>(json::parse(bytes, place), place);
}

/// Converts an enumeration to its JSON string and back. An unknown string gives no value.
template <class Enum>
QString rawString(Enum value) {
    return json::encode(value, {}).toString();
}

template <class Enum>
std::optional<Enum> fromRawString(const QString& raw) {
    for (const auto& [enumerator, name] : json::formOf<Enum>().names)
        if (raw == QLatin1String(name))
            return enumerator;
    return std::nullopt;
}

} // namespace tavro
