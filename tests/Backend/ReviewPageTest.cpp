#include "Backend/ReviewPage.h"
#include "Backend/MockBackend.h"

#include "support/TestSupport.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace tavro::test {

namespace fs = std::filesystem;

namespace {

const QString hostile = u"</script><script>alert(1)</script> <!-- \"'&{{nonce}}\\ 日本"_qs;

/// The data of a page: the one element that differs between two pages, apart from the nonce.
QJsonObject dataOf(const QByteArray& page) {
    const QRegularExpression element(u"<script type=\"application/json\" id=\"take\">(.*)</script>"_qs);
    const auto match = element.match(QString::fromUtf8(page));
    EXPECT_TRUE(match.hasMatch());
    return QJsonDocument::fromJson(match.captured(1).toUtf8()).object();
}

struct ReviewPageTest : testing::Test {
    TemporaryFolder folder;
    fs::path root = folder.path() / "Tavro", film = folder.path() / "take.mp4";
    MockBackend mock{root};
    ReviewPageTest() { writeFile(film, "film"); }

    QString session(const QString& scenario, std::optional<QString> address, const QString& display) {
        return await(mock.createSession(scenario, address, {CaptureKind::display, u"1"_qs, display}))
            .session.id;
    }
    QByteArray uploaded(const QString& id) {
        await(mock.uploadVideo(id, film));
        return readFile(mock.reviewPage(id));
    }
};

TEST_F(ReviewPageTest, showsEveryTextAsItIs) {
    const auto project = await(mock.listProjects()).front();
    const auto scenario = await(mock.createScenario(project.id, hostile, hostile + u"2"_qs));
    const QString id = session(scenario.id, hostile, hostile);
    const QByteArray page = uploaded(id);
    const QJsonObject data = dataOf(page);
    EXPECT_EQ(data[u"project"].toString(), project.name);
    EXPECT_EQ(data[u"scenario"].toString(), hostile);
    EXPECT_EQ(data[u"description"].toString(), hostile + u"2"_qs);
    EXPECT_EQ(data[u"display"].toString(), hostile);
    EXPECT_EQ(data[u"address"].toString(), hostile);
    EXPECT_FALSE(data.contains(u"link"));

    const QByteArray plain = reviewPage({.scenario = u"Plain"_qs});
    EXPECT_EQ(page.count('<'), plain.count('<')) << "a text made an element";
    EXPECT_EQ(fs::status(mock.reviewPage(id)).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ReviewPageTest, linksWebAddressesOnly) {
    struct Case {
        const char16_t* address;
        const char16_t* link; // empty: none
    };
    const Case cases[] = {
        {u"https://shop.example/cart?a=1&b=2", u"https://shop.example/cart?a=1&b=2"},
        {u"HTTP://shop.example:8080", u"http://shop.example:8080"},
        {u"https://shop.example/\"><script>", u"https://shop.example/%22%3E%3Cscript%3E"},
        {u"shop.example", u""},
        {u"javascript:alert(1)", u""},
        {u" javascript:alert(1)", u""},
        {u"data:text/html,x", u""},
        {u"file:///etc/passwd", u""},
        {u"https://", u""},
        {u"", u""},
    };
    for (const auto& [address, link] : cases)
        EXPECT_EQ(webLink(QString::fromUtf16(address)).value_or(QString()), QString::fromUtf16(link));
    EXPECT_EQ(webLink(std::nullopt), std::nullopt);

    const QString id = session(u"scn_guest"_qs, u"https://shop.example"_qs, {});
    EXPECT_EQ(dataOf(uploaded(id))[u"link"].toString(), u"https://shop.example");
}

TEST_F(ReviewPageTest, tellsTheDurationAndThePauses) {
    const QString id = session(u"scn_login"_qs, {}, u"Display 1"_qs);
    await(mock.finishSession(id, 12.5));
    await(mock.setPauses(id, {{1.25, 3}, {8, 0.5}}));
    const QJsonObject data = dataOf(uploaded(id));
    EXPECT_EQ(data[u"durationSeconds"].toDouble(), 12.5);
    EXPECT_EQ(data[u"pauses"].toArray(), (QJsonArray{QJsonObject{{u"at"_qs, 1.25}, {u"length"_qs, 3}},
                                             QJsonObject{{u"at"_qs, 8}, {u"length"_qs, 0.5}}}));
    const auto begun = QDateTime::fromString(data[u"begun"].toString(), Qt::ISODate);
    EXPECT_LT(begun.secsTo(QDateTime::currentDateTimeUtc()), 600);
    EXPECT_FALSE(data.contains(u"address"));
}

// The folder of an earlier run, of which this backend knows nothing.
TEST_F(ReviewPageTest, doesWithoutWhatIsNotKnown) {
    const QString id = u"earlier"_qs;
    fs::create_directories(mock.sessionFolder(id));
    const QJsonObject data = dataOf(uploaded(id));
    EXPECT_EQ(data.keys(), (QStringList{u"begun"_qs, u"pauses"_qs}));
    EXPECT_TRUE(QDateTime::fromString(data[u"begun"].toString(), Qt::ISODate).isValid());
    EXPECT_TRUE(data[u"pauses"].toArray().isEmpty());
}

TEST_F(ReviewPageTest, doesNotFailTheTakeWhenItCannotBeWritten) {
    const LogLines log;
    const QString id = session(u"scn_guest"_qs, {}, {});
    fs::create_directories(mock.reviewPage(id) / "in the way");
    EXPECT_EQ(await(mock.uploadVideo(id, film)), u"video.mp4");
    EXPECT_EQ(await(mock.storedSession(id))->status, SessionStatus::uploaded);
    const QStringList complaints = log.all().filter(u"[ERROR] review page: not written for session "_qs + id);
    EXPECT_EQ(complaints.size(), 1);
    std::set<std::string> left;
    for (const auto& entry : fs::directory_iterator(mock.sessionFolder(id)))
        left.insert(entry.path().filename());
    EXPECT_EQ(left, (std::set<std::string>{"review.html", "video.mp4"}));
}

} // namespace
} // namespace tavro::test
