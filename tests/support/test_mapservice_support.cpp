// The test helpers: PNG bytes, and the map service child checked against
// small stand-in programs.
#include "mapservice_child.h"
#include "mbtiles_writer.h"

#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

TEST(PngBytes, DecodeToThePicture)
{
    QImage img(4, 3, QImage::Format_ARGB32);
    img.fill(qRgba(10, 20, 30, 40));
    const QByteArray png = zltest::pngBytes(img);
    ASSERT_TRUE(png.startsWith("\x89PNG"));
    EXPECT_EQ(QImage::fromData(png).convertToFormat(QImage::Format_ARGB32), img);
}

TEST(MapServiceChild, AProgramThatCannotStartGivesNoEndpointAndAReason)
{
    zltest::MapServiceChild child;
    EXPECT_FALSE(child.start(QStringLiteral("/nonexistent/zenloft-mapservice"), {}, 5000).isValid());
    EXPECT_TRUE(child.error().contains("did not start")) << child.error().toStdString();
    EXPECT_FALSE(child.isRunning());
    child.stop();  // nothing to stop
}

TEST(MapServiceChild, TheEndpointLineIsReadAndEverythingPrintedKept)
{
    zltest::MapServiceChild child;
    // echo prints the arguments it gets: the loopback ones first.
    const QUrl url = child.start(QStringLiteral("/bin/echo"), {"endpoint", "http://127.0.0.1:4711/"}, 5000);
    EXPECT_EQ(url, QUrl("http://127.0.0.1:4711/"));
    EXPECT_EQ(child.endpoint(), url);
    EXPECT_TRUE(child.error().isEmpty());
    child.stop();
    EXPECT_FALSE(child.isRunning());
    EXPECT_EQ(child.standardOutput(), "--address 127.0.0.1 --port 0 endpoint http://127.0.0.1:4711/\n");
    EXPECT_EQ(child.standardError(), "");

    // A second start forgets the first run.
    EXPECT_FALSE(child.start(QStringLiteral("/bin/echo"), {"listening", "nowhere"}, 5000).isValid());
    EXPECT_FALSE(child.endpoint().isValid());
    EXPECT_TRUE(child.error().contains("listening nowhere")) << child.error().toStdString();
    EXPECT_FALSE(child.standardOutput().contains("4711"));
}
