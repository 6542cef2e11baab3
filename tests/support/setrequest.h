#ifndef TESTS_SUPPORT_SETREQUEST_H
#define TESTS_SUPPORT_SETREQUEST_H

#include <string>
#include <vector>

#include "messages.pb.h"

/// A request to change variables; an assignment is "node.variable[1]=value".
inline pbcommon::Request setRequest(const std::vector<std::string>& assignments) {
    pbcommon::Request request;
    for (const std::string& sAssignment : assignments) {
        const std::size_t equals = sAssignment.find('=');
        pbcommon::Assignment& assignment = *request.mutable_set()->add_assignment();
        assignment.mutable_address()->set_name(sAssignment.substr(0, equals));
        assignment.set_value(sAssignment.substr(equals + 1));
    }
    return request;
}

#endif
