#include "session.h"

#include "directories.h"

namespace cfgctl {

Session::Session(const OptionsT& options)
    : m_options(options),
      m_connection(pbcommon::socketCandidates(options.sSocket), options.timeout) {}

pbcommon::Reply Session::ask(pbcommon::Request request) {
    request.set_client("cfgctl");
    if (m_options.role) {
        request.set_role(*m_options.role);
    }
    return m_connection.ask(request);
}

AskT Session::asking() {
    return [this](const pbcommon::Request& request) { return ask(request); };
}

pbcommon::Reply Session::next() { return m_connection.next(); }

pbcommon::Reply listAll(const AskT& ask, const std::string& pattern, bool bChanged) {
    pbcommon::Reply all;
    pbcommon::Request request;
    request.mutable_list()->set_pattern(pattern);
    request.mutable_list()->set_changed(bChanged);
    for (;;) {
        const pbcommon::Reply page = ask(request);
        const pbcommon::ListReply& list = page.list();
        all.MergeFrom(page);
        if (!list.has_next() || list.next() <= request.list().start()) {
            return all;
        }
        all.mutable_list()->clear_next();
        request.mutable_list()->set_start(list.next());
    }
}

pbcommon::Reply newestChanges(const AskT& ask, const std::string& pattern, std::uint32_t nMost) {
    pbcommon::Reply all;
    pbcommon::Request request;
    pbcommon::History& history = *request.mutable_history();
    history.set_pattern(pattern);
    history.set_limit(nMost);
    for (;;) {
        const pbcommon::Reply page = ask(request);
        all.MergeFrom(page);
        const std::uint64_t nRevision = page.history().revision();
        const auto nFound = static_cast<std::uint32_t>(all.history().change_size());
        const bool bFurther = !history.has_before() || nRevision < history.before();
        if (!page.history().has_revision() || !bFurther || nFound >= nMost) {
            return all;
        }
        all.mutable_history()->clear_revision();
        history.set_limit(nMost - nFound);
        history.set_before(nRevision);
    }
}

}  // namespace cfgctl
