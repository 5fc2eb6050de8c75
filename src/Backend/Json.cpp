#include "Backend/Json.h"

#include <QJsonDocument>

#include <cmath>

namespace tavro::json {

namespace {

const char* reason(JsonError::Case which) {
    switch (which) {
    case JsonError::Case::malformed:
        return "not valid JSON";
    case JsonError::Case::missingKey:
        return "the key is missing";
    case JsonError::Case::wrongType:
        return "the value is of another type";
    case JsonError::Case::unknownName:
        return "the value is none of the known names";
    case JsonError::Case::notFinite:
        return "the number is not finite";
    }
    return "";
}

QString nameOf(Place place) {
    QString name = QLatin1String(place.record);
    if (place.key)
        name += QLatin1Char('.') + QLatin1String(place.key);
    return name;
}

} // namespace

void refuse(JsonError::Case which, Place place) {
    throw JsonError(which, QStringLiteral("%1: %2").arg(nameOf(place), QLatin1String(reason(which))));
}

// QJsonDocument would silently write a non-finite number as null.
QJsonValue encodeNumber(double value, Place place) {
    if (!std::isfinite(value))
        refuse(JsonError::Case::notFinite, place);
    return value;
}

QString decodeText(const QJsonValue& value, Place place) {
    if (!value.isString())
        refuse(JsonError::Case::wrongType, place);
    return value.toString();
}

bool decodeBool(const QJsonValue& value, Place place) {
    if (!value.isBool())
        refuse(JsonError::Case::wrongType, place);
    return value.toBool();
}

double decodeNumber(const QJsonValue& value, Place place) {
    if (!value.isDouble())
        refuse(JsonError::Case::wrongType, place);
    return value.toDouble();
}

std::int64_t decodeInteger(const QJsonValue& value, Place place) {
    // toInteger() returns its default for a fraction or an overflow.
    const qint64 integer = value.toInteger(0);
    if (!value.isDouble() || (integer == 0 && value.toInteger(1) == 1))
        refuse(JsonError::Case::wrongType, place);
    return integer;
}

QJsonObject decodeObject(const QJsonValue& value, Place place) {
    if (!value.isObject())
        refuse(JsonError::Case::wrongType, place);
    return value.toObject();
}

QJsonArray decodeArray(const QJsonValue& value, Place place) {
    if (!value.isArray())
        refuse(JsonError::Case::wrongType, place);
    return value.toArray();
}

QByteArray write(const QJsonValue& value) {
    const QJsonDocument document =
        value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return document.toJson(QJsonDocument::Compact);
}

QJsonValue parse(const QByteArray& bytes, Place place) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        throw JsonError(JsonError::Case::malformed,
            QStringLiteral("%1: %2 at byte %3").arg(nameOf(place), error.errorString()).arg(error.offset));
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

} // namespace tavro::json
