#ifndef TESTS_PLATFORM_STOREFIXTURE_H
#define TESTS_PLATFORM_STOREFIXTURE_H

#include <gmock/gmock.h>
#include <google/protobuf/stubs/strutil.h>
#include <google/protobuf/text_format.h>

#include "logfile.h"
#include "names.h"
#include "onewatcher.h"
#include "service.h"

/// Has every kind of variable.
inline const std::string kSchema = R"(
    variable { node: "n" name: "open" kind: BOOLEAN default_value: "false" }
    variable { node: "n" name: "other" kind: BOOLEAN default_value: "false" }
    variable { node: "n" name: "choice" kind: ENUMERATION option: "a" option: "b" option: "c" default_value: "a" }
    variable { node: "n" name: "text" kind: TEXT max_length: 9000 }
    variable { node: "n" name: "hidden" kind: TEXT max_length: 4 read: kSystem write: kSystem }
    variable { node: "n" name: "count" kind: INTEGER maximum: 20000 default_value: "0" }
    variable { node: "n" name: "password" kind: SECRET max_length: 16 }
)";

/// A store on a schema of the test's own, its node called "n", and those who ask it.
class StoreFixture : public testing::Test {
protected:
    using Assignments = std::vector<std::pair<std::string, std::string>>;

    /// @param sDirectory  of the state; empty: in memory
    void start(const std::string& sSchema, const std::string& sDirectory = "") {
        AppConfig::Schema schema;
        std::string sError;
        ASSERT_EQ(schema.add(sSchema, "test", sError), kNoError) << sError;
        m_service.reset();
        auto database = sDirectory.empty() ? std::make_unique<AppConfig::Database>()
                                           : std::make_unique<AppConfig::Database>(sDirectory);
        m_service = std::make_unique<AppConfig::Service>(std::move(schema), std::move(database));
    }
    /// @param sRequest  in protobuf's text format
    pbcommon::Reply ask(AppConfig::SecurityRole role, const std::string& sRequest) {
        pbcommon::Request request;
        EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(sRequest, &request)) << sRequest;
        return m_others.ask(m_service->requests(), {role, 7, 8, "me"}, request);
    }
    /// The answer as one line: code, tags, the variables, what was refused, whether to reboot.
    static std::string textOf(const pbcommon::Reply& reply) {
        std::string sText = pbcommon::describeCode(reply.code());
        for (const auto& sTag : reply.tag()) sText += " " + sTag;
        pbcommon::ListReply shown;
        *shown.mutable_variable() =
            reply.has_list() ? reply.list().variable() : reply.set().variable();
        shown.mutable_variable()->MergeFrom(reply.get().variable());
        for (const auto& row : shown.variable()) sText += " " + row.name() + "=" + row.value();
        if (reply.set().has_failed()) sText += " failed " + std::to_string(reply.set().failed());
        return sText + (reply.set().reboot_needed() ? " reboot" : "");
    }
    /// A change as one line: "revision client: assignments | effects".
    static std::string textOf(const pbcommon::Change& change) {
        std::string sText = std::to_string(change.revision()) + " " + change.client() + ":";
        for (const auto& row : change.assignment()) sText += " " + row.name() + "=" + row.value();
        sText += " |";
        for (const auto& row : change.effect()) {
            sText += " " + row.variable();
            for (const std::string& sAfter : row.after()) sText += ":" + sAfter;
        }
        return sText;
    }
    static std::string address(const std::string& sVariable) {
        return "address { node: 'n' variable: '" + google::protobuf::CEscape(sVariable) + "' }";
    }
    std::string get(AppConfig::SecurityRole role, const char* variable, bool bReveal = false) {
        return textOf(
            ask(role, "get { " + address(variable) + (bReveal ? " reveal: true }" : " }")));
    }
    std::string set(AppConfig::SecurityRole role, const Assignments& assignments,
                    bool bDryRun = false) {
        std::string sText = bDryRun ? "dry_run: true " : "";
        for (const auto& [sName, sValue] : assignments) {
            sText += "assignment { " + address(sName) + " value: '" +
                     google::protobuf::CEscape(sValue) + "' }";
        }
        return textOf(ask(role, "set { " + sText + " }"));
    }
    std::string list(AppConfig::SecurityRole role, const std::string& sPattern,
                     bool bChanged = false) {
        return textOf(ask(
            role, "list { pattern: '" + sPattern + "'" + (bChanged ? " changed: true }" : " }")));
    }

    LogFile m_log;
    OneWatcher m_others;
    std::unique_ptr<AppConfig::Service> m_service;
};

#endif
