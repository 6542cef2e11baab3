#ifndef TESTS_SUPPORT_SETREQUEST_H
#define TESTS_SUPPORT_SETREQUEST_H

#include <string>
#include <vector>

#include "address.h"
#include "messages.pb.h"

/// A request to change variables; an assignment is "node.variable[1]=value".
inline pbcommon::Request setRequest(const std::vector<std::string>& assignments) {
    pbcommon::Request request;
    for (const std::string& sAssignment : assignments) {
        const std::size_t equals = sAssignment.find('=');
        const auto address = pbcommon::parseAddress(sAssignment.substr(0, equals)).value();
        pbcommon::Assignment& assignment = *request.mutable_set()->add_assignment();
        assignment.mutable_address()->set_node(address.sNode);
        assignment.mutable_address()->set_node_instance(address.nNodeInstance);
        assignment.mutable_address()->set_variable(address.sVariable);
        assignment.mutable_address()->set_instance(address.nVarInstance);
        assignment.set_value(sAssignment.substr(equals + 1));
    }
    return request;
}

#endif
