#ifndef TESTS_SUPPORT_VERSION1_H
#define TESTS_SUPPORT_VERSION1_H

/// A database as the first version of the service left it, after a change and what it set in
/// motion.
inline constexpr const char* kVersion1 =
    "PRAGMA journal_mode = WAL; PRAGMA application_id = 0x41436667; PRAGMA user_version = 1;"
    "CREATE TABLE setting (  variable TEXT NOT NULL,  aspect   TEXT NOT NULL,  content  TEXT,"
    "  revision INTEGER NOT NULL,  PRIMARY KEY (variable, aspect)) STRICT, WITHOUT ROWID;"
    "CREATE TABLE change (  revision INTEGER PRIMARY KEY,  time_us  INTEGER NOT NULL,"
    "  client   TEXT NOT NULL,  uid      INTEGER NOT NULL,  pid      INTEGER NOT NULL,"
    "  role     TEXT NOT NULL,  details  TEXT NOT NULL) STRICT;"
    "CREATE VIEW detail AS SELECT  revision,  detail.key              AS place,"
    "  detail.value ->> '$[0]' AS variable,  detail.value ->> '$[1]' AS aspect,"
    "  detail.value ->> '$[2]' AS before,  detail.value ->> '$[3]' AS after,"
    "  detail.value ->> '$[4]' AS cause,  detail.value ->> '$[5]' AS trigger,"
    "  detail.value ->> '$[6]' AS reader FROM change, json_each(change.details) AS detail;"
    "INSERT INTO setting VALUES ('n.text', 'value', 'a\"b', 1), ('n.count', 'value', '007', 1);"
    R"(INSERT INTO change VALUES (1, 1795433605530049, 'me', 7, 8, 'user', '[)"
    R"(["n.text","assigned","","a\u0022b","","","user"],)"
    R"(["n.text","value","","a\u0022b","request","","user"],)"
    R"(["n.count","value","0","007","onSet","n.text","user"]]');)";

#endif
