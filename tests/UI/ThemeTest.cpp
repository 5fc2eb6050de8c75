#include "UI/Theme.h"
#include "UI/StatusIcon.h"

#include "Core/Paths.h"
#include "support/TestSupport.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QImage>
#include <QRawFont>

using namespace tavro;
using namespace tavro::test;

TEST(Fonts, onlyFilesWithTheExactExtensionAreTaken) {
    const TemporaryFolder folder;
    for (const char* name : {"A.ttf", "B.TTF", "C.otf", "ttf", ".ttf", "Z.ttf"})
        writeFile(folder.path() / name, "x");
    EXPECT_EQ(
        Theme::fontFiles(folder.path()), (std::vector{folder.path() / "A.ttf", folder.path() / "Z.ttf"}));
    EXPECT_TRUE(Theme::fontFiles(folder.path() / "missing").empty());
}

TEST(Fonts, theThreeFamiliesAreThereInTheWeightsThatAreUsed) {
    Theme::registerFonts();
    Theme::registerFonts();
    const struct {
        const char* family;
        QFont::Weight weight;
    } cases[] = {{"Fraunces", QFont::DemiBold}, {"Inter", QFont::Normal}, {"Inter", QFont::Medium},
        {"Inter", QFont::DemiBold}, {"JetBrains Mono", QFont::Normal}};
    for (const auto& test : cases) {
        QFont font(QString::fromLatin1(test.family));
        font.setPixelSize(13);
        font.setWeight(test.weight);
        const QFontInfo info(font);
        EXPECT_TRUE(info.exactMatch()) << test.family << test.weight;
        EXPECT_EQ(info.family(), font.family());
        EXPECT_EQ(info.weight(), test.weight) << test.family;
        // Qt could embolden another face.
        EXPECT_EQ(QRawFont::fromFont(font).weight(), test.weight) << test.family;
    }
}

TEST(StatusIcon, isAFrameOfFourBracketsWithADotInItsMiddle) {
    constexpr int scale = 4;
    const QImage image = captureFramePixmap(Qt::red, 18, scale).toImage();
    ASSERT_EQ(image.size(), QSize(72, 72));
    // Points on the design square, y upwards.
    const auto opaque = [&](double x, double y) {
        const QColor color = image.pixelColor(qRound(x * scale), qRound((18 - y) * scale) - 1);
        return color.alpha() > 200 && color.red() > 200 && color.green() < 50;
    };
    for (const QPointF p :
        {QPointF(2, 14), {4, 16}, {14, 16}, {16, 14}, {16, 4}, {14, 2}, {4, 2}, {2, 4}, {9, 9}})
        EXPECT_TRUE(opaque(p.x(), p.y())) << p.x() << "," << p.y();
    for (const QPointF p : {QPointF(9, 16), {2, 9}, {16, 9}, {9, 2}, {5.5, 9}, {9, 12.5}, {0.5, 0.5}})
        EXPECT_FALSE(opaque(p.x(), p.y())) << p.x() << "," << p.y();
}
