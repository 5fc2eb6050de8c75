#include "Backend/ModelsJson.h"

#include "support/TestSupport.h"

#include <limits>

namespace tavro {
namespace {

// A record with a list of records.
struct Order {
    QString id;
    std::optional<QString> note;
    std::vector<Marker> markers;
};

constexpr auto jsonForm(const Order*) {
    return json::record("Order", json::field("id", &Order::id), json::field("note", &Order::note),
        json::field("markers", &Order::markers));
}

template <class T>
void expectRoundTrip(const T& value, const QByteArray& text) {
    const QByteArray written = encodeJson(value);
    EXPECT_EQ(written.toStdString(), text.toStdString());
    EXPECT_TRUE(decodeJson<T>(text) == value) << text.constData();
}

const CaptureTargetMeta window{CaptureKind::window, QStringLiteral("4711"), QStringLiteral("Shop — Basket")};

TEST(Json, writesEveryRecordWithTheKeysOfItsFieldsAndReadsItBack) {
    // The writer sorts keys alphabetically; the order has no meaning.
    expectRoundTrip(
        User{u"u1"_qs, u"a@b.example"_qs, u"Ann"_qs}, R"({"email":"a@b.example","id":"u1","name":"Ann"})");
    expectRoundTrip(Project{u"p"_qs, u"P"_qs, u""_qs, u"S"_qs},
        R"({"description":"","id":"p","name":"P","systemName":"S"})");
    expectRoundTrip(Scenario{u"s"_qs, u"p"_qs, u"S"_qs, u"d"_qs},
        R"({"description":"d","id":"s","name":"S","projectId":"p"})");
    expectRoundTrip(window, QByteArray(R"({"identifier":"4711","kind":"window","label":"Shop — Basket"})"));
    expectRoundTrip(Session{u"x"_qs, u"s"_qs, SessionStatus::reviewed, u"https://a.example/?q=\"1\""_qs,
                        window, 42.5, u"k/v.mp4"_qs},
        QByteArray(
            R"({"appUrl":"https://a.example/?q=\"1\"","captureTarget":{"identifier":"4711","kind":"window",)"
            R"("label":"Shop — Basket"},"durationSeconds":42.5,"id":"x","scenarioId":"s","status":"reviewed",)"
            R"("videoKey":"k/v.mp4"})"));
    expectRoundTrip(Marker{u"m"_qs, u"x"_qs, 1.25, u"n"_qs, Severity::bug},
        R"({"id":"m","note":"n","sessionId":"x","severity":"bug","timestamp":1.25})");
    expectRoundTrip(Screenshot{u"i"_qs, u"x"_qs, 9007199254740993, 3, u"k"_qs, u"a"_qs, Severity::observation,
                        u"QUJD"_qs},
        R"({"annotation":"a","id":"i","imageBase64":"QUJD","key":"k","sequenceNumber":9007199254740993,)"
        R"("sessionId":"x","severity":"observation","timestamp":3})");
    expectRoundTrip(TranscriptSegment{u"t"_qs, u"x"_qs, 0, 0.1, u"hello"_qs, 0.75, u"mic"_qs},
        R"({"confidence":0.75,"content":"hello","endTime":0.1,"id":"t","sessionId":"x","source":"mic","startTime":0})");
}

TEST(Json, leavesAbsentOptionalsOut) {
    expectRoundTrip(User{u"u"_qs, u"e"_qs, {}}, R"({"email":"e","id":"u"})");
    expectRoundTrip(Project{u"p"_qs, u"P"_qs, {}, {}}, R"({"id":"p","name":"P"})");
    expectRoundTrip(
        Session{u"x"_qs, u"s"_qs, SessionStatus::active, {}, {CaptureKind::display, u"1"_qs, u"L"_qs}, 0, {}},
        R"({"captureTarget":{"identifier":"1","kind":"display","label":"L"},"durationSeconds":0,"id":"x",)"
        R"("scenarioId":"s","status":"active"})");
    expectRoundTrip(Marker{u"m"_qs, u"x"_qs, 2, {}, {}}, R"({"id":"m","sessionId":"x","timestamp":2})");
    expectRoundTrip(Screenshot{u"i"_qs, u"x"_qs, -1, 0, {}, {}, {}, {}},
        R"({"id":"i","sequenceNumber":-1,"sessionId":"x","timestamp":0})");
    expectRoundTrip(std::vector<Project>{}, "[]");
}

TEST(Json, writesListsInRecords) {
    EXPECT_EQ(encodeJson(Order{u"o"_qs, {}, {{u"m"_qs, u"x"_qs, 1, {}, {}}}}).toStdString(),
        R"({"id":"o","markers":[{"id":"m","sessionId":"x","timestamp":1}]})");
    EXPECT_EQ(decodeJson<Order>(R"({"id":"o","markers":[],"note":null})").note, std::nullopt);
}

TEST(Json, readsNullAsAbsentAndIgnoresUnknownKeys) {
    const auto project =
        decodeJson<Project>(R"({"id":"p","name":"P","description":null,"colour":{"r":[1,null]}})");
    EXPECT_EQ(project, (Project{u"p"_qs, u"P"_qs, {}, {}}));
    EXPECT_EQ(decodeJson<Marker>(R"( { "id":"\u00fc", "sessionId":"x", "timestamp":1e2, "note":null } )"),
        (Marker{u"ü"_qs, u"x"_qs, 100, {}, {}}));
}

TEST(Json, writesNumbersInTheirShortestForm) {
    const std::pair<double, QByteArray> cases[] = {{0, "0"}, {10.0, "10"}, {12.5, "12.5"}, {-3, "-3"},
        {0.1, "0.1"}, {1.0 / 3, "0.3333333333333333"}, {3600, "3600"}, {5e-324, "5e-324"}};
    for (const auto& [number, text] : cases)
        expectRoundTrip(
            LiveEvent(event::Finished{number}), R"({"durationSeconds":)" + text + R"(,"type":"finished"})");
}

struct Refusal {
    QByteArray json;
    JsonError::Case reason;
    QString place; // the beginning of the error's text
};

template <class T>
void expectRefused(std::initializer_list<Refusal> cases) {
    for (const Refusal& c : cases) {
        const ErrorDescription error = test::errorOf([&] { decodeJson<T>(c.json); });
        EXPECT_EQ(error.domain, u"Tavro.JSON") << c.json.constData();
        EXPECT_EQ(error.code, static_cast<int>(c.reason)) << c.json.constData();
        EXPECT_TRUE(error.localizedDescription.startsWith(c.place + u':'))
            << c.json.constData() << " gives " << qPrintable(error.localizedDescription);
    }
}

TEST(Json, refusesWhatDoesNotFitAndNamesRecordAndKey) {
    using enum JsonError::Case;
    expectRefused<Scenario>({{R"({"id":"s","name":"S"})", missingKey, u"Scenario.projectId"_qs},
        {R"({"id":"s","name":null,"projectId":"p"})", wrongType, u"Scenario.name"_qs},
        {R"({"id":"s","name":"S","projectId":"p","description":7})", wrongType, u"Scenario.description"_qs},
        {"[]", wrongType, u"Scenario"_qs}, {"", malformed, u"Scenario"_qs},
        {R"({"id":"s","name":"S","projectId":"p")", malformed, u"Scenario"_qs},
        {"{\"id\":\"\xff\"}", malformed, u"Scenario"_qs}});
    expectRefused<CaptureTargetMeta>({{R"({"kind":"screen","identifier":"1","label":"L"})", unknownName,
                                          u"CaptureTargetMeta.kind"_qs},
        {R"({"kind":"Window","identifier":"1","label":"L"})", unknownName, u"CaptureTargetMeta.kind"_qs},
        {R"({"kind":"window","identifier":1,"label":"L"})", wrongType, u"CaptureTargetMeta.identifier"_qs}});
    const QByteArray session =
        R"({"id":"x","scenarioId":"s","captureTarget":{"kind":"display","identifier":"1","label":"L"})";
    expectRefused<Session>({{session + R"(,"status":"active"})", missingKey, u"Session.durationSeconds"_qs},
        {session + R"(,"durationSeconds":0,"status":"lost"})", unknownName, u"Session.status"_qs},
        {session + R"(,"durationSeconds":"0","status":"active"})", wrongType, u"Session.durationSeconds"_qs},
        {session + R"(,"durationSeconds":true,"status":"active"})", wrongType, u"Session.durationSeconds"_qs},
        {session + R"(,"durationSeconds":1e999,"status":"active"})", malformed, u"Session"_qs},
        {R"({"id":"x","scenarioId":"s","captureTarget":{"kind":"display","label":"L"},"durationSeconds":0,"status":"active"})",
            missingKey, u"CaptureTargetMeta.identifier"_qs},
        {R"({"id":"x","scenarioId":"s","captureTarget":"1","durationSeconds":0,"status":"active"})",
            wrongType, u"Session.captureTarget"_qs}});
    const QByteArray shot = R"({"id":"i","sessionId":"x","timestamp":0,"sequenceNumber":)";
    expectRefused<Screenshot>({{shot + "3.5}", wrongType, u"Screenshot.sequenceNumber"_qs},
        {shot + "9223372036854775808}", wrongType, u"Screenshot.sequenceNumber"_qs},
        {shot + "false}", wrongType, u"Screenshot.sequenceNumber"_qs},
        {shot + R"(1,"severity":"fatal"})", unknownName, u"Screenshot.severity"_qs}});
    EXPECT_EQ(decodeJson<Screenshot>(shot + "9223372036854775807}").sequenceNumber,
        std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(decodeJson<Screenshot>(shot + R"(4,"severity":"question"})").severity, Severity::question);
    expectRefused<TranscriptSegment>(
        {{R"({"id":"t","sessionId":"x","startTime":0,"endTime":1,"content":"c"})", missingKey,
            u"TranscriptSegment.source"_qs}});
    expectRefused<std::vector<Project>>({{"{}", wrongType, u"Project"_qs},
        {R"([{"id":"p","name":"P"},{"id":"q"}])", missingKey, u"Project.name"_qs},
        {"[3]", wrongType, u"Project"_qs}});
}

TEST(Json, refusesToWriteWhatIsNotFinite) {
    for (const double number :
        {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(test::errorOf([&] { encodeJson(LiveEvent(event::Finished{number})); }).localizedDescription,
            u"LiveEvent.durationSeconds: the number is not finite");
        EXPECT_EQ(test::errorOf([&] {
            encodeJson(std::vector{TranscriptSegment{{}, {}, 0, 0, {}, number, {}}});
        }).code,
            static_cast<int>(JsonError::Case::notFinite));
    }
}

TEST(LiveEventJson, hasSevenShapes) {
    expectRoundTrip(LiveEvent(TranscriptSegment{u"t"_qs, u"x"_qs, 0, 1, u"c"_qs, {}, u"mic"_qs}),
        R"({"payload":{"content":"c","endTime":1,"id":"t","sessionId":"x","source":"mic","startTime":0},)"
        R"("type":"transcript_segment"})");
    expectRoundTrip(LiveEvent(Screenshot{u"i"_qs, u"x"_qs, 1, 2, {}, {}, {}, {}}),
        R"({"payload":{"id":"i","sequenceNumber":1,"sessionId":"x","timestamp":2},"type":"screenshot"})");
    expectRoundTrip(LiveEvent(Marker{u"m"_qs, u"x"_qs, 1, {}, {}}),
        R"({"payload":{"id":"m","sessionId":"x","timestamp":1},"type":"marker"})");
    expectRoundTrip(LiveEvent(event::Paused()), R"({"type":"paused"})");
    expectRoundTrip(LiveEvent(event::Resumed()), R"({"type":"resumed"})");
    expectRoundTrip(LiveEvent(event::Finished{12.5}), R"({"durationSeconds":12.5,"type":"finished"})");
    expectRoundTrip(LiveEvent(event::Deleted()), R"({"type":"deleted"})");
    expectRoundTrip(std::vector<LiveEvent>{event::Paused(), event::Finished{3}},
        R"([{"type":"paused"},{"durationSeconds":3,"type":"finished"}])");
}

TEST(LiveEventJson, isStrictAboutTypeAndPayload) {
    using enum JsonError::Case;
    EXPECT_EQ(decodeJson<LiveEvent>(R"({"type":"paused","payload":{}})"), LiveEvent(event::Paused()));
    EXPECT_EQ(decodeJson<LiveEvent>(R"({"type":"finished","durationSeconds":10.0})"),
        LiveEvent(event::Finished{10}));
    EXPECT_NE(LiveEvent(event::Paused()), LiveEvent(event::Resumed()));
    expectRefused<LiveEvent>(
        {{"{}", missingKey, u"LiveEvent.type"_qs}, {R"({"type":3})", wrongType, u"LiveEvent.type"_qs},
            {R"({"type":"transcriptSegment","payload":{}})", unknownName, u"LiveEvent.type"_qs},
            {R"({"type":"finished"})", missingKey, u"LiveEvent.durationSeconds"_qs},
            {R"({"type":"finished","durationSeconds":null})", wrongType, u"LiveEvent.durationSeconds"_qs},
            {R"({"type":"marker"})", missingKey, u"LiveEvent.payload"_qs},
            {R"({"type":"marker","payload":null})", wrongType, u"LiveEvent.payload"_qs},
            {R"({"type":"marker","payload":{"id":"m","timestamp":1}})", missingKey, u"Marker.sessionId"_qs}});
}

TEST(Enumerations, convertToAndFromTheirRawStrings) {
    EXPECT_EQ(rawString(CaptureKind::display), u"display");
    EXPECT_EQ(fromRawString<CaptureKind>(u"window"_qs), CaptureKind::window);
    EXPECT_EQ(fromRawString<CaptureKind>(u"Window"_qs), std::nullopt);
    for (const auto status : {SessionStatus::active, SessionStatus::finishing, SessionStatus::uploading,
             SessionStatus::uploaded, SessionStatus::reviewed})
        EXPECT_EQ(fromRawString<SessionStatus>(rawString(status)), status);
    EXPECT_EQ(rawString(SessionStatus::uploading), u"uploading");
    for (const auto severity : {Severity::bug, Severity::observation, Severity::question})
        EXPECT_EQ(fromRawString<Severity>(rawString(severity)), severity);
    EXPECT_EQ(fromRawString<Severity>({}), std::nullopt);
}

} // namespace
} // namespace tavro
