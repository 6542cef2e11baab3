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

void fillAddress(const pbcommon::VariableAddress& from, pbcommon::Address& to) {
    to.set_node(from.sNode);
    to.set_node_instance(from.nNodeInstance);
    to.set_variable(from.sVariable);
    to.set_instance(from.nVarInstance);
}

pbcommon::Reply listAll(const AskT& ask, const std::string& pattern) {
    pbcommon::Reply all;
    pbcommon::Request request;
    request.mutable_list()->set_pattern(pattern);
    for (;;) {
        const pbcommon::Reply page = ask(request);
        all.MergeFrom(page);
        all.clear_next();
        if (!page.has_next() || page.next() <= request.list().start()) {
            return all;
        }
        request.mutable_list()->set_start(page.next());
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
        all.clear_revision();
        all.MergeFrom(page);
        const auto nFound = static_cast<std::uint32_t>(all.history_size());
        const bool bFurther = !history.has_before() || page.revision() < history.before();
        if (!page.has_revision() || !bFurther || nFound >= nMost) {
            return all;
        }
        history.set_limit(nMost - nFound);
        history.set_before(page.revision());
    }
}

}  // namespace cfgctl
