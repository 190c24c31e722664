// SPDX-License-Identifier: Apache-2.0
// The table: the library's identifiers, those of its infrastructure, the companion server's, and the
// exit codes of this program. docs/server.md lists the server's.
#include "cli/qorCtlExplain.h"

namespace orvix::ctl {

namespace {

constexpr std::string_view READ_AGAIN = "Yes: nothing was changed.";
constexpr std::string_view NEVER_HELPS = "Safe but useless: the answer will be the same.";
constexpr std::string_view MAY_BE_DONE =
    "Mostly: the request may have been carried out, so it may be carried out twice. Adding or\n"
    "deleting the same document twice, opening, closing and searching do no harm; creating a\n"
    "collection again is refused. The client has already retried as often as --retries says.";

constexpr Explanation TABLE[] = {
    {"ERR_CONNECT_SERVER", "The connection could not be made.",
     "The server does not run, or listens on another address or port.\n"
     "A firewall drops the packets: then it takes until --connect-timeout.\n"
     "The host's name is not known.",
     "qorctl doctor\nThe server's first line says where it listens.\n--host and --port",
     "Yes: nothing was sent. The client has already retried as often as --retries says."},
    {"ERR_SERVER_COMM_SEND", "The request could not be sent to its end.",
     "The server ended or closed the connection.\n"
     "It takes no more bytes: then it takes until --timeout.",
     "Whether the server runs, and its log.", MAY_BE_DONE},
    {"ERR_SERVER_COMM_RECV", "The connection was lost before the reply had arrived.",
     "The server ended, or its machine.\nA proxy or firewall cut an idle connection.\n"
     "A server with a token file closed on an asynchronous document without a valid token.",
     "Whether the server runs, and its log.", MAY_BE_DONE},
    {"ERR_SERVER_COMM_TIMEOUT", "The server did not answer within the receive time-out.",
     "The server is busy with a long request: a backup, a restore, a large commit.\n"
     "The network lost the connection silently.",
     "qorctl ping, qorctl status\nA longer --timeout", MAY_BE_DONE},
    {"ERR_SERVER_PROTOCOL", "The reply has a form that this kind of reply cannot have.",
     "--port belongs to a server of another kind.\nClient and server differ in their versions.\n"
     "A chunk's fields arrived in two pieces, which this client takes for an error.",
     "qorctl doctor\nA capture of the reply: qorctl wire decode --kind KIND FILE", MAY_BE_DONE},
    {"ERR_SERVER_INVALID_AUTH", "The server does not accept the token, or misses one.",
     "No --token-file was given.\nThe file's first line is not one of the server's tokens.\n"
     "The server read its tokens at start and knows nothing of a newer one.",
     "That the token stands in the server's token file, in a line of its own.\n"
     "That the server was started after it was written there.",
     "Safe but useless until the token is right."},
    {"ERR_SERVER_APP", "The server refused the request without an identifier of its own.",
     "The server's message says why.", "The server's log.",
     "Safe, for what was refused was not carried out; useless until its cause is gone."},
    {"WAR_SERVER_APP", "A warning of the server. This library never raises it.", "",
     "The server's log.", "There is nothing to retry."},
    {"ERR_CLIENT_RESP_PARSING", "The reply cannot be read.",
     "As for ERR_SERVER_PROTOCOL; the reply broke off or went on where it should not.",
     "qorctl doctor\nA capture of the reply: qorctl wire decode --kind KIND FILE", MAY_BE_DONE},
    {"ERR_CLIENT_INTERNAL", "The client failed, not the server.",
     "A document of 1 GiB or more.\nA fault of the library.",
     "The size of the document\nThe causes that the message names.",
     "It helps only when memory was short."},
    {"ERR_INVALID_STATE", "The client was used in a way that its state does not allow.",
     "Results were pulled after a failed request, or with the client of another class.",
     "The program that uses the library. qorctl itself should never show this.",
     "Safe with a new request."},

    {"SOCKET_RESOLVE", "The host's name could not be resolved.",
     "A typing error in --host.\nThe name service does not answer.",
     "getent hosts NAME\nqorctl doctor", "Yes: nothing was sent."},
    {"SOCKET_CONNECT", "No address of the host accepts connections on the port.",
     "Connection refused: nobody listens there.\nTimed out: a firewall, or the machine is down.",
     "qorctl doctor\nThe server's first line says where it listens.", "Yes: nothing was sent."},
    {"SOCKET_CLOSED", "The connection is not open any more.", "A fault of the program or library.",
     "The causes that the message names.", MAY_BE_DONE},
    {"SOCKET_PORT", "The port is no number from 1 to 65535.", "A typing error.", "--port",
     NEVER_HELPS},
    {"SOCKET_HOST", "The host's name holds a NUL.", "A typing error.", "--host", NEVER_HELPS},
    {"SOCKET_WRITE", "Writing to the connection failed.",
     "The server closed it.\nIt takes no more bytes: then it takes until --timeout.",
     "Whether the server runs, and its log.", MAY_BE_DONE},
    {"SOCKET_READ", "Reading from the connection failed.", "The server, or its machine, ended.",
     "Whether the server runs, and its log.", MAY_BE_DONE},
    {"SOCKET_WAIT", "Waiting for the connection failed.", "The system is short of memory.",
     "The system's log.", MAY_BE_DONE},
    {"PROPERTY_MISSING", "A property that is needed is not there.",
     "A record of the reply lacks it: the server is of another kind or version.", "qorctl doctor",
     NEVER_HELPS},
    {"PROPERTY_NOT_A_NUMBER", "A property is no whole number from 0 to 4294967295.",
     "A typing error, or a server of another version.", "The property that the message names.",
     NEVER_HELPS},

    {"SRV_REQUEST_MALFORMED", "The server cannot understand the request's header text.",
     "A client of another kind.\nA header over 65535 bytes, which goes out cut.",
     "The request: qorctl wire decode FILE on a capture", NEVER_HELPS},
    {"SRV_ACTION_UNKNOWN", "The server does not know the request's action, or there is none.",
     "A client that is newer than the server.", "qorctl version", NEVER_HELPS},
    {"SRV_BODY_MALFORMED", "The document's body is missing or does not add up.",
     "A request for a document without a key.\nA field with a number behind its value.",
     "The request: qorctl wire decode FILE on a capture", NEVER_HELPS},
    {"SRV_DOCUMENT_TOO_LARGE", "The document's body has more than 64 MiB.", "A large document.",
     "Split the document.", NEVER_HELPS},
    {"SRV_DOCUMENT_KEY_INVALID", "The document's key is empty or longer than 16384 bytes.",
     "The wrong column or member was taken for the key.", "--key, --map", NEVER_HELPS},
    {"SRV_CONTENT_TYPE_UNSUPPORTED", "The document's stated type is not text.",
     "The request names a type such as application/pdf.",
     "Convert the document to text, or state no type.", NEVER_HELPS},
    {"SRV_CHARSET_UNKNOWN", "The server does not know the document's character set.",
     "A typing error in --charset.", "--charset; UTF-8 needs none", NEVER_HELPS},
    {"SRV_FIELD_INVALID", "A field cannot be kept.",
     "Its name is empty or longer than 200 bytes.\nThe collection has its 1000 fields.",
     "--index and --sortable name only the fields that are needed.\nqorctl collection list-status",
     NEVER_HELPS},
    {"SRV_COLLECTION_NAME_INVALID", "The collection's name is missing, too long or no UTF-8.",
     "More than 198 bytes, bytes outside of a-z, 0-9, _ and - counting three.", "The name",
     NEVER_HELPS},
    {"SRV_COLLECTION_EXISTS", "There is a collection of that name already.",
     "It was created before, perhaps by a request that was repeated.",
     "qorctl collection list-status NAME", NEVER_HELPS},
    {"SRV_COLLECTION_UNKNOWN", "There is no collection of that name.",
     "A typing error.\nIt was dropped, or was never created.\nThe server runs on another --data.",
     "qorctl collection create NAME", NEVER_HELPS},
    {"SRV_QUERY_INVALID", "The query is missing, or the engine cannot read or run it.",
     "Brackets or quotes without their partner.\nA word* that stands for over 10000 words.",
     "The query syntax in docs/server.md", NEVER_HELPS},
    {"SRV_NUMBER_INVALID", "A property should be a whole number from 0 to 4294967295.",
     "A client that sends something else.", "The property that the message names.", NEVER_HELPS},
    {"SRV_SORT_FIELD_UNKNOWN", "No document of the collection has that sortable field.",
     "A typing error in --sort.\nThe documents were loaded without --sortable FIELD.",
     "qorctl collection list-status NAME shows the fields.", NEVER_HELPS},
    {"SRV_BACKUP_NAME_INVALID", "The backup's name is missing or too long.",
     "A name over 198 bytes.", "The name", NEVER_HELPS},
    {"SRV_BACKUP_UNKNOWN", "There is no such backup, or it does not hold the collection.",
     "A typing error.\nThe backup was made of another collection.", "The two names", NEVER_HELPS},
    {"SRV_VERSION_UNSUPPORTED", "Client and server have no protocol version in common.",
     "One of them is much older.", "qorctl version", NEVER_HELPS},
    {"SRV_STORAGE_FAILED", "The server's file system failed, or stored data is damaged.",
     "The disk is full or broken.\nFiles of the data directory were changed from outside.",
     "The server's log\nThe space left on the disk of --data\nA backup: qorctl restore",
     "Safe, once the cause is gone."},
    {"SRV_ENGINE_FAILED", "The server's engine failed.",
     "What was not committed in that collection is lost.", "The server's log",
     "Safe. Load again what was not committed; each document replaces its earlier self."},
    {"SRV_INTERNAL_FAILURE", "The server failed in a way of which it knows no more.",
     "A fault of the server, or memory ran out.", "The server's log",
     "Safe for what can be repeated; see the log first."},

    {"0", "", "", "", "There is nothing to retry."},
    {"1", "",
     "status: the server is busy or in error. outcomes: a document was rejected. doctor: a check\n"
     "failed.",
     "The data on standard output says what.", READ_AGAIN},
    {"2", "", "An argument is missing, unknown or not valid. Nothing was sent.",
     "qorctl --help, qorctl COMMAND --help", NEVER_HELPS},
    {"3", "", "As for ERR_CONNECT_SERVER, ERR_SERVER_COMM_SEND and ERR_SERVER_COMM_RECV.",
     "qorctl doctor", MAY_BE_DONE},
    {"4", "", "As for ERR_SERVER_COMM_TIMEOUT.", "qorctl ping", MAY_BE_DONE},
    {"5", "", "As for ERR_SERVER_INVALID_AUTH.", "qorctl doctor",
     "Safe but useless until the token is right."},
    {"6", "", "The message names the server's identifier; load: every document was rejected.",
     "qorctl explain IDENTIFIER", "Safe; useless until its cause is gone."},
    {"7", "", "As for ERR_SERVER_PROTOCOL; wire decode: the bytes are not what it was told.",
     "qorctl doctor", MAY_BE_DONE},
    {"8", "",
     "load: some documents were rejected, unreadable or unconfirmed. ping: some were lost.",
     "The counts and the messages on standard error\nload --rejects FILE keeps the documents.",
     "Yes: a document that is loaded again replaces its earlier self."},
    {"9", "", "A file is missing, must not be read, or the disk is full.",
     "The file that the message names.", "Safe, once the cause is gone."},
    {"10", "", "A fault of this program or of the library, or memory ran out.", "The message",
     "It helps only when memory was short."},
    {"130", "", "Ctrl-C. load has brought in what it had read until then.",
     "The counts on standard output", "Yes: a document that is loaded again replaces itself."},
};

}  // namespace

std::span<const Explanation> explanationTable() { return TABLE; }

}  // namespace orvix::ctl
