// A directory server that gives the answers of a text. It is behind every address (network.h), and whoever asks, on
// whichever connection, is given what comes next: all up to the end of an answer. With the text used up it closes
// every connection.
//
//     text      ::= { line LF }            "^" and two hex digits stand for a byte; lines that are none of these are
//                                          left out
//     entry     ::= "dn: " DN { LF attribute ": " value | LF attribute }        of one name in a row: one attribute
//     reference ::= "reference:" { " " URI }
//     end       ::= "result: " code [ " " text ]         of the kind that was asked for
//                 | "referral:" { " " URI }              code 10
//                 | "who: " name                         the answer to "Who am I?"
//                 | "raw: " bytes                        as they stand
//                 | "silent:" | "close:" | "reset:" | "interrupted:"
//     further   ::= "notice: " code | "partial: " name
//     change    ::= "id: " number | "tag: " number       of the next message; its own are the request's
//                 | "control: " name [ " " value ]       with the next message
//                 | "cut: " count                        the next message lacks so many bytes at its end
//                 | "put: " place " " bytes              and has these at that place
//     way       ::= "piece: " count                      from now on so many bytes at a time
//                 | "refuse:"                            the next connection, if nothing is to be said before
#ifndef FUZZ_WORLD_LDAP_SERVER_H
#define FUZZ_WORLD_LDAP_SERVER_H

#include <string_view>

// Starts anew; the text has to stay.
void ldap_server_start(std::string_view text);

// Has everything been said?
bool ldap_server_is_done();

#endif
