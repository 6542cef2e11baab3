// What history keeps when there is too much of it, and how it finds what is asked for.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <random>

#include "disk/database.h"
#include "logfile.h"

namespace {

using namespace AppConfig;
using RevisionsT = std::vector<std::uint64_t>;
using Order = Database::Order;

constexpr HistoryBounds kBounds{.nChanges = 500, .nBytes = 400'000};
constexpr std::size_t kDroppedTogether = 100;

class History : public testing::Test {
protected:
    /// A change by a user that touches a variable, or two.
    void change(uid_t uid, const std::string& sVariable, std::size_t nBytes,
                const std::string& sOther = "") {
        Record record{.nRevision = m_database->newest() + 1};
        record.requester.uid = uid;
        record.assignments.push_back({sVariable, std::string(nBytes, 'x'), kUser});
        std::vector<Setting> settings;
        for (const std::string& sTouched : {sVariable, sOther}) {
            if (sTouched.empty()) continue;
            RecordedEffect& effect = record.effects.emplace_back();
            effect.sVariable = sTouched;
            settings.push_back({sTouched, pbcommon::VALUE, "x", record.nRevision});
            m_heldBy[sTouched] = record.nRevision;
        }
        ASSERT_EQ(m_database->commit({&record, 1}, settings), kNoError);
        m_uids.push_back(uid);
    }
    [[nodiscard]] RevisionsT find(const std::string& sWanted, Order order) {
        RevisionsT found;
        const auto isWanted = [&](const std::string& s) { return sWanted == "*" || s == sWanted; };
        EXPECT_EQ(m_database->readHistory(0, m_database->newest(), order, isWanted,
                                          [&](const Record& record) {
                                              found.push_back(record.nRevision);
                                              return true;
                                          }),
                  kNoError);
        return found;
    }
    /// Of a user.
    [[nodiscard]] std::ptrdiff_t countOf(uid_t uid, const RevisionsT& revisions) const {
        return std::count_if(revisions.begin(), revisions.end(),
                             [&](auto n) { return m_uids[n - 1] == uid; });
    }
    void expectConsistent() {
        const RevisionsT all = find("*", Order::kOldestFirst);
        Record record;
        std::size_t nBytes = 0;
        std::map<std::string, RevisionsT> touching;
        for (const std::uint64_t nRevision : all) {
            EXPECT_EQ(m_database->readChange(nRevision, record), kNoError);
            nBytes += record.nMaxBytes;
            for (const auto& effect : record.effects) {
                touching[effect.sVariable].push_back(nRevision);
            }
        }
        EXPECT_LE(all.size(), kBounds.nChanges + kDroppedTogether + m_heldBy.size());
        EXPECT_LE(nBytes, kBounds.nBytes + 20'000 * m_heldBy.size());
        EXPECT_EQ(all.front(), m_database->oldest());
        const auto isThere = [&](std::uint64_t n) {
            return std::binary_search(all.begin(), all.end(), n);
        };
        const std::uint64_t nFrom = m_database->completeFrom();
        EXPECT_FALSE(nFrom > 1 && isThere(nFrom - 1));
        EXPECT_EQ(std::count_if(all.begin(), all.end(), [&](auto n) { return n >= nFrom; }),
                  static_cast<std::ptrdiff_t>(m_uids.size() - nFrom + 1));
        for (const auto& [sVariable, nRevision] : m_heldBy) {
            EXPECT_TRUE(isThere(nRevision)) << sVariable << " goes back to " << nRevision;
            RevisionsT found = find(sVariable, Order::kOldestFirst);
            EXPECT_EQ(found, touching[sVariable]);
            std::reverse(found.begin(), found.end());
            EXPECT_EQ(find(sVariable, Order::kNewestFirst), found);
        }
    }
    void open() {
        m_database.reset();
        m_database = std::make_unique<Database>(m_home.path("state"), kBounds);
    }

    LogFile m_log;
    TemporaryDirectory m_home;
    std::unique_ptr<Database> m_database;
    std::vector<uid_t> m_uids;                      ///< of all changes ever
    std::map<std::string, std::uint64_t> m_heldBy;  ///< the last change of each variable
};

TEST_F(History, KeepsWhatSettingsGoBackToAndEachUsersShareOverARestart) {
    constexpr uid_t kOperator = 1, kTester = 2, kFlood = 3;
    open();
    change(kOperator, "once.and.never.again", 10);
    std::mt19937 random(20261123);
    for (int i = 0; i < 2000; ++i) {
        if (i % 20 == 0) change(kOperator, "o." + std::to_string(random() % 5), 10);
        if (i % 10 == 0) change(kTester, "t." + std::to_string(random() % 9), 10, "o.1");
        // long ones, then many short ones
        change(kFlood, "f." + std::to_string(random() % 3), i < 500 ? random() % 9000 : 10);
        if (i % 250 == 0) expectConsistent();
    }
    const RevisionsT all = find("*", Order::kOldestFirst);
    EXPECT_EQ(countOf(kOperator, all), 101) << "less than a third of what there is room for";
    EXPECT_GT(countOf(kTester, all), 150) << "as many as the flood, but for what goes together";
    const std::uint64_t nFrom = m_database->completeFrom();
    open();
    EXPECT_EQ(find("*", Order::kOldestFirst), all);
    EXPECT_EQ(m_database->completeFrom(), nFrom);
    expectConsistent();
}

TEST_F(History, GivesTheFileSystemBackWhatItNoLongerNeedsAtAStart) {
    open();
    std::vector<Record> together(20);
    for (Record& record : together) {
        record.nRevision = static_cast<std::uint64_t>(&record - together.data()) + 1;
        record.assignments.push_back({"a.b", std::string(300'000, 'x'), kUser});
    }
    ASSERT_EQ(m_database->commit(together, {}), kNoError);
    const std::string sFile = m_home.path("state/appconfig.db");
    open();
    EXPECT_GT(std::filesystem::file_size(sFile), 5U << 20);
    m_uids.resize(together.size());
    for (int i = 0; i < 30; ++i) change(1, "a.b", 10);
    open();
    EXPECT_LT(std::filesystem::file_size(sFile), 1U << 20);
}

}  // namespace
