// rulebook --walk     prints the states that the switches can reach, and what cannot be undone
// there rulebook DIRECTORY  writes rulebook.md, rules.dot and dependencies.inc into it
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "book.h"
#include "dependencies.h"
#include "logmsg.h"

namespace {

constexpr int kStates = 600;

void write(const std::string& sPath, const std::string& text) {
    std::ofstream file(sPath, std::ios::binary);
    if (!(file << text).flush()) {
        std::fprintf(stderr, "rulebook: cannot write %s\n", sPath.c_str());
        std::exit(EXIT_FAILURE);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: rulebook --walk | DIRECTORY\n", stderr);
        return 2;
    }
    const std::string sWhere = argv[1];
    logmsg_init(0, "rulebook");
    rulebook::Room room;
    const rulebook::RulesT rules = rulebook::survey(room, kStates);
    const std::vector<rulebook::AreaT> areas = rulebook::walk(room, rules);
    if (sWhere == "--walk") {
        std::fputs(rulebook::walkText(areas).c_str(), stdout);
        return 0;
    }
    write(sWhere + "/rulebook.md", rulebook::bookText(room, rules, areas));
    write(sWhere + "/rules.dot", cfgctl::dotText(rulebook::dependenciesOf(rules)));
    write(sWhere + "/dependencies.inc", rulebook::tableText(rules));
    return 0;
}
