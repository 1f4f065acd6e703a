#include "GMSCoreClientParameters.h"
#include "testsupport.h"

#include "Clock.h"

#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::wire;

namespace {

struct Harness {
    QTemporaryDir dir;
    // Monotonic time starts near zero, as it does after boot: a file older
    // than the boot must still count as fetched.
    zl::ManualClock clock{QDateTime::currentDateTimeUtc()};
    struct Sent {
        std::shared_ptr<const GMSClientParameters::Request> request;
        GMSClientParameters::ResponseHandler handler;
    };
    std::vector<Sent> sent;
    std::unique_ptr<GMSCoreClientParameters> params;
    std::unique_ptr<QSignalSpy> updated;
    std::vector<std::optional<GMSDASHError>> startups;

    QString path() const { return dir.filePath("ServerControlledParams"); }

    // Makes new parameters over the file and starts them.
    void start()
    {
        params = std::make_unique<GMSCoreClientParameters>(
            [this](std::shared_ptr<const GMSClientParameters::Request> r, GMSClientParameters::ResponseHandler h) {
                sent.push_back({r, h});
            },
            path(), &clock);
        updated = std::make_unique<QSignalSpy>(params.get(), &GMSClientParameters::kGMSClientParametersUpdated);
        params->startWithCompletionHandler([this](std::optional<GMSDASHError> e) { startups.push_back(e); });
        QCoreApplication::sendPostedEvents();
    }
    // True when the next request goes out exactly `ms` from now, not a
    // millisecond sooner.
    bool asksAgainAfter(qint64 ms)
    {
        const std::size_t before = sent.size();
        clock.advance(ms - 1);
        if (sent.size() != before)
            return false;
        clock.advance(1);
        return sent.size() == before + 1;
    }
    // A full answer: every asked group, with content and a hash.
    std::shared_ptr<GMSClientParameters::Response> fullAnswer(const GMSClientParameters::Request& req,
                                                              int schema = 1)
    {
        auto resp = std::make_shared<GMSClientParameters::Response>();
        for (const auto& g : req.parameter_group_array()) {
            auto* a = resp->add_parameter_group_array();
            a->set_type(g.type());
            a->set_hash_p(quint64(g.type()) * 1000 + quint64(schema));
            if (g.type() == PARAMETER_GROUP_VECTOR_MAPS)
                a->mutable_vector_maps()->set_disk_cache_server_schema_version(schema);
            if (g.type() == PARAMETER_GROUP_EXPIRATIONS) {
                auto* c = a->mutable_expirations()->add_custom_expire_array();
                c->set_tile_type(TILE_TYPE_SATELLITE);
                c->set_expiration_seconds(30);
            }
        }
        return resp;
    }
    void answerLast(std::shared_ptr<GMSClientParameters::Response> resp) { sent.back().handler(resp, std::nullopt); }
    void failLast()
    {
        sent.back().handler(nullptr, GMSDASHError{kGMSDASHURLErrorDomain, kGMSDASHURLErrorTimedOut, "t", {}, {}});
    }
};

}  // namespace

TEST(ClientParameters, FirstRunFetchesSavesAndIsDueAtExactlyThreeHoursALaterRunLoadsTheFile)
{
    Harness h;
    h.start();
    ASSERT_EQ(h.sent.size(), 1u);  // nothing saved: asks at once
    EXPECT_EQ(std::pair(h.sent[0].request->parameter_group_array_size(),
                        h.sent[0].request->parameter_group_array(0).has_hash_p()),
              std::pair(12, false));
    EXPECT_TRUE(h.startups.empty());  // startup waits for the answer
    EXPECT_EQ(h.updated->count(), 1);    // every group, at start

    h.answerLast(h.fullAnswer(*h.sent[0].request, 3));
    ASSERT_EQ(h.startups.size(), 1u);
    EXPECT_FALSE(h.startups[0].has_value());
    EXPECT_EQ(std::tuple(h.params->lastUpdateTimeMs(), h.params->areParamsFresh(),
                         h.params->diskCacheServerSchemaVersion(), h.updated->count()),
              std::tuple(h.clock.monotonicMs(), true, 3, 2));
    h.params->flushPendingWrites();
    EXPECT_TRUE(QFile::exists(h.path()));

    h.clock.advance(10'800'000 - 1);
    h.params->refreshIfNeeded();
    EXPECT_EQ(h.sent.size(), 1u);
    EXPECT_TRUE(h.params->areParamsFresh());
    h.clock.advance(1);  // due: the three-hour timer asks
    EXPECT_FALSE(h.params->areParamsFresh());
    ASSERT_EQ(h.sent.size(), 2u);
    EXPECT_TRUE(h.sent[1].request->parameter_group_array(0).has_hash_p());

    // Groups of type 0 or without a hash are ignored; an answer that changes
    // nothing only moves the file's date.
    auto same = h.fullAnswer(*h.sent[1].request, 3);
    same->mutable_parameter_group_array(0)->set_type(PARAMETER_GROUP_UNKNOWN);
    same->mutable_parameter_group_array(1)->clear_hash_p();
    same->mutable_parameter_group_array(1)->mutable_vector_maps()->set_disk_cache_server_schema_version(99);
    const QByteArray bytes = zltest::readFile(h.path());
    ASSERT_FALSE(bytes.isEmpty());
    h.clock.advance(3'600'000);
    h.answerLast(same);
    h.params->flushPendingWrites();
    EXPECT_EQ(zltest::readFile(h.path()), bytes);
    EXPECT_NEAR(double(QFileInfo(h.path()).lastModified().toMSecsSinceEpoch()), double(h.clock.wallMs()), 1000.0);
    EXPECT_EQ(std::pair(h.params->diskCacheServerSchemaVersion(), h.updated->count()), std::pair(3, qsizetype(2)));

    // Inactive stops the schedule; active resumes it where it was.
    h.params->applicationWillResignActive();
    h.clock.advance(3'600'000);
    EXPECT_EQ(h.clock.pendingCount(), 0);
    h.params->applicationDidBecomeActive();
    EXPECT_EQ(h.sent.size(), 2u);
    EXPECT_TRUE(h.asksAgainAfter(7'200'000));

    // A later run with the file a day old, from before the boot: it loads,
    // startup does not wait for the network, and a request with the hashes
    // goes at once.
    ASSERT_TRUE(GMSClientParameters::setLastUpdateTimestamp(
        QDateTime::fromMSecsSinceEpoch(h.clock.wallMs() - 24 * 3'600'000), h.path()));
    h.sent.clear();
    h.start();
    GMSTileType sat;
    sat.mapTileType = 1;
    EXPECT_EQ(std::tuple(h.params->diskCacheServerSchemaVersion(), h.params->haveParamsEverBeenFetched(),
                         h.params->tileTypeExpirations().expirationPeriodMSForTileType(sat), h.startups.size()),
              std::tuple(3, true, 30'000, std::size_t(2)));
    EXPECT_FALSE(h.startups[1].has_value());
    EXPECT_NEAR(double(h.params->lastUpdateTimeMs()), double(h.clock.monotonicMs() - 24 * 3'600'000), 1000.0);
    ASSERT_EQ(h.sent.size(), 1u);
    const auto& groups = h.sent[0].request->parameter_group_array();
    EXPECT_TRUE(std::any_of(groups.begin(), groups.end(), [](const auto& g) {
        return g.type() == PARAMETER_GROUP_VECTOR_MAPS && g.hash_p() == PARAMETER_GROUP_VECTOR_MAPS * 1000 + 3;
    }));

    // An unreadable file: defaults, and startup waits for the network.
    ASSERT_FALSE(zltest::writeFile(h.path(), "\xff\xff\xff not a message").isEmpty());
    h.sent.clear();
    h.startups.clear();
    h.start();
    EXPECT_EQ(std::pair(h.params->haveParamsEverBeenFetched(), h.params->diskCacheServerSchemaVersion()),
              std::pair(false, -1));
    EXPECT_EQ(std::pair(h.sent.size(), h.startups.size()), std::pair(std::size_t(1), std::size_t(0)));
}

TEST(ClientParameters, RetriesDoubleThenDesperateModeUntilTheNetworkReturnsThenStyleTablesAndPaintRoute)
{
    Harness h;
    h.start();
    h.params->setServiceEndpoint(QUrl("http://127.0.0.1:8765/glm/mmap"));
    EXPECT_EQ(std::tuple(h.params->paintEpoch(), h.params->styleTableMappingArray().size(),
                         h.params->paintServerBaseURL(), h.params->requestSigningKey(),
                         h.params->directToPaintEnabledTileTypes().size()),
              std::tuple(0, 0, QUrl(), QByteArray(), 0))
        << "defaults: no epoch, no tables, no paint route";

    ASSERT_EQ(h.sent.size(), 1u);
    h.failLast();
    for (qint64 seconds : {1, 2, 4, 8, 16, 32, 64}) {
        ASSERT_TRUE(h.params->isRetryWaiting());
        ASSERT_TRUE(h.asksAgainAfter(seconds * 1000)) << seconds;
        if (seconds == 4) {
            // An answer with fewer groups than asked is a failure too.
            auto partial = h.fullAnswer(*h.sent.back().request);
            partial->mutable_parameter_group_array()->RemoveLast();
            h.answerLast(partial);
        } else {
            h.failLast();
        }
    }
    EXPECT_FALSE(h.params->isRetryWaiting());
    ASSERT_EQ(h.startups.size(), 1u);
    EXPECT_EQ(std::pair(h.startups[0].has_value(), h.params->isDesperatelyRetrying()), std::pair(true, true));

    // Each return of the network is one attempt, without waiting.
    const std::size_t before = h.sent.size();
    h.params->networkFound();
    ASSERT_EQ(h.sent.size(), before + 1);
    h.failLast();
    EXPECT_EQ(h.startups.size(), 1u);  // told once
    EXPECT_FALSE(h.params->isRetryWaiting());
    h.params->applicationDidBecomeActive();
    ASSERT_EQ(h.sent.size(), before + 2);
    const int notes = h.updated->count();
    h.answerLast(h.fullAnswer(*h.sent.back().request));
    EXPECT_EQ(std::tuple(h.params->isDesperatelyRetrying(), h.params->haveParamsEverBeenFetched(), h.updated->count()),
              std::tuple(false, true, notes + 1));
    h.params->networkFound();
    EXPECT_EQ(h.sent.size(), before + 2);

    // Style tables and the paint route, resolved against the endpoint; an
    // epoch not in hand is asked for at once.
    h.params->refetchClientParametersExpectingPaintEpoch(9);
    ASSERT_EQ(h.sent.size(), before + 3);
    auto resp = h.fullAnswer(*h.sent.back().request, 2);
    for (auto& g : *resp->mutable_parameter_group_array()) {
        if (g.type() == PARAMETER_GROUP_STYLE_TABLES) {
            auto* st = g.mutable_style_tables();
            st->set_paint_epoch(9);
            auto* rel = st->add_style_table_mapping_array();
            rel->set_url("/styles/base.tbl");
            rel->set_style_table_format(2);
            rel->set_map_style(1);
            auto* abs = st->add_style_table_mapping_array();
            abs->set_url("https://cdn.example/t?x=1");
            st->add_style_table_mapping_array()->set_map_style(4);  // no URL: left out
        } else if (g.type() == PARAMETER_GROUP_PAINT) {
            g.mutable_paint()->set_paint_server_base_url("/glm/paint");
            g.mutable_paint()->set_request_signing_key(std::string("k\0y", 3));
        } else if (g.type() == PARAMETER_GROUP_VECTOR_MAPS) {
            g.mutable_vector_maps()->add_direct_to_paint_enabled_tile_type_array(zenloft::wire::TILE_TYPE_SATELLITE);
            g.mutable_vector_maps()->add_direct_to_paint_enabled_tile_type_array(zenloft::wire::TILE_TYPE_TERRAIN);
        }
    }
    h.answerLast(resp);
    ASSERT_EQ(h.updated->count(), notes + 2);
    EXPECT_TRUE(h.updated->last().at(0).value<QList<int>>().contains(PARAMETER_GROUP_STYLE_TABLES));
    const QList<GMSCoreClientParameters::StyleTableMapping> expected = {
        {QUrl("http://127.0.0.1:8765/styles/base.tbl"), 2, 1}, {QUrl("https://cdn.example/t?x=1"), 0, 0}};
    EXPECT_EQ(std::tuple(h.params->paintEpoch(), h.params->styleTableMappingArray(), h.params->paintServerBaseURL(),
                         h.params->requestSigningKey(), h.params->directToPaintEnabledTileTypes()),
              std::tuple(9, expected, QUrl("http://127.0.0.1:8765/glm/paint"), QByteArray("k\0y", 3), QSet<int>{1, 2}));

    // The epoch in hand: no new request. Another one: asked for at once.
    h.params->refetchClientParametersExpectingPaintEpoch(9);
    EXPECT_EQ(h.sent.size(), before + 3);
    h.params->refetchClientParametersExpectingPaintEpoch(10);
    EXPECT_EQ(h.sent.size(), before + 4);

    // Tables without an epoch could never become active: the group is refused
    // and the one in hand stays.
    auto noEpoch = h.fullAnswer(*h.sent.back().request, 3);
    for (auto& g : *noEpoch->mutable_parameter_group_array())
        if (g.type() == PARAMETER_GROUP_STYLE_TABLES)
            g.mutable_style_tables()->add_style_table_mapping_array()->set_url("/styles/other.tbl");
    h.answerLast(noEpoch);
    EXPECT_EQ(std::pair(h.params->paintEpoch(), h.params->styleTableMappingArray()), std::pair(9, expected));
    EXPECT_TRUE(h.params->paintServerBaseURL().isEmpty()) << "the new paint group has no server";
}

