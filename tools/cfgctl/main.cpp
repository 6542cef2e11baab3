#include <google/protobuf/stubs/logging.h>

#include "command.h"
#include "commandline.h"
#include "failure.h"
#include "terminal.h"

int main(int argc, char** argv) {
    // what is wrong with an answer is said once, in a line of the program's own
    google::protobuf::SetLogHandler(nullptr);
    cfgctl::ExitStatus status = cfgctl::kAccepted;
    try {
        const cfgctl::CommandLine line = cfgctl::parseCommandLine(argc, argv);
        cfgctl::print(line.text);
        if (line.command != nullptr) {
            cfgctl::Session session(line.options);
            status = line.command->run(session, line.operands);
        }
        cfgctl::finishOutput();
        return status;
    } catch (const cfgctl::Failure& failure) {
        cfgctl::complain(failure.what());
        return status == cfgctl::kAccepted ? failure.status() : status;  // a refusal says more
    }
}
