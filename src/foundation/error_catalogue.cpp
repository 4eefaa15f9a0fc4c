#include "foundation/error_catalogue.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace tessolt {
namespace {

struct CatalogueRow {
    std::int32_t number;
    std::string_view text;
};

/// Every number that has a text, in rising order. The numbers of sibling components that share this
/// numbering are taken, but have no row here.
constexpr CatalogueRow kCatalogue[] = {
    {0, "Success"},
    {354, "Start mail input; end with <CRLF>.<CRLF>"},
    {421, "<domain> Service not available, closing transmission channel"},
    {441, "No connection to SMTP server established, please connect first"},
    {450, "Requested mail action not taken: mailbox unavailable (mailbox busy)"},
    {451, "Requested action aborted: local error in processing"},
    {452, "Requested action not taken: insufficient system storage"},
    {454, "Client not authenticated, authentication required"},
    {500,
     "Syntax error, command unrecognized (This may include errors such as command line too long)"},
    {501, "Syntax error in parameters or arguments"},
    {502, "Command not implemented"},
    {503, "Bad sequence of commands"},
    {504, "Command parameter not implemented"},
    {505,
     "Client does not have permission to send as this sender; change the sender e-mail address"},
    {530, "Please authenticate first"},
    {535, "Authentication failed"},
    {550, "Requested action not taken: mailbox unavailable (mailbox not found)"},
    {551, "User not local; please try <forward-path>"},
    {552, "Requested mail action aborted: exceeded storage allocation"},
    {553, "Requested action not taken: mailbox name not allowed (mailbox syntax incorrect)"},
    {554, "Transaction failed"},
    {590, "Unexpected response from SMTP server"},
    {591, "No response from SMTP server"},
    {592, "Failed to send command"},
    {700,
     "No welcome message received from POP3 server (no response at all, expected responde:'+OK "
     "POP3 Ready'"},
    {701,
     "No welcome message received from POP3 server (invalid response, '+OK POP3 READY' was "
     "expected"},
    {702, "No response received on '+USER' command"},
    {703, "Invalid response received on 'USER' command"},
    {704, "Login failed"},
    {705, "No response received on 'PASS' command"},
    {706, "Invalid response received on 'PASS' command"},
    {707, "No connection to POP3 server established, please connect first"},
    {708, "Invalid message indicator; message should start with '+OK <bytes>'."},
    {709, "Invalid message (MIME header is empty)"},
    {710, "The mailbox is already in use (locked)"},
    {711, "No more messages available"},
    {712, "Message is flagged as deleted"},
    {713, "The mailbox does not contain message(s)"},
    {715, "No response received on command"},
    {716, "Failed to delete message (most likely the message does not exist)"},
    {717, "Failed to count messages in mailbox. STAT command failed"},
    {720,
     "Failed to save attachment, check if the specified directory exists and that you have "
     "sufficient rights"},
    {721, "Failed to save attachment, file already exists"},
    {725, "There is no message with this message ID"},
    {730, "Attachment not found"},
    {731, "Operation timed out"},
    {732, "Operation stalled; Idle timeout expired."},
    {15010, "Internal error: unable to create new ActiveX object"},
    {36002, "Invalid argument"},
    {36400, "Invalid hostname"},
    {36401, "Invalid port number"},
    {36402, "Connection failed"},
    {36403, "No response from server"},
    {36404, "Unexpected response from server"},
    {36405, "Unexpected response from server"},
    {36406, "Failed to introduce on the server"},
    {36407, "Not connected. An active connection is needed for this operation"},
    {36408, "Failed to encrypt communication message"},
    {36409, "Send command failed"},
    {36410, "The selected mode of authorization is not supported"},
    {36411, "Authorization failed"},
    {36414, "Secure handshake failed"},
    {36416, "Service not available"},
    {36417, "Mailbox not available"},
    {36418, "Local error"},
    {36419, "Insufficient memory on the server"},
    {36420, "Client not authenticated"},
    {36421, "Unknown command"},
    {36422, "Syntax error"},
    {36423, "Command not implemented"},
    {36424, "Bad command sequence"},
    {36425, "Parameter not implemented"},
    {36426, "Invalid sender address"},
    {36427, "Mail not accepted"},
    {36428, "Authentication required"},
    {36429, "Authentication failed"},
    {36430, "Mailbox not found"},
    {36431, "User not local, please try another forward path"},
    {36432, "Storage exceeded"},
    {36433, "Mailbox name not allowed"},
    {36434, "Transaction failed"},
    {36500, "Already connected"},
    {36501, "Invalid hostname"},
    {36502, "Invalid port number"},
    {36503, "Connect failed"},
    {36504, "Secure handshake failed"},
    {36505, "No response from server"},
    {36506, "No welcome message received from server"},
    {36507, "Maildrop locked"},
    {36508, "Login failed"},
    {36509, "No connection"},
    {36510, "Unexpected response from server"},
    {36511, "Invalid password"},
    {36512, "Failed to get the number of mails in the maildrop"},
    {36513, "Mailbox empty"},
    {36514, "Delete message failed"},
    {36515, "No more messages"},
    {36516, "Invalid message ID"},
    {36517, "Retrieve failed"},
    {36518, "Unexpected socket error"},
    {36519, "Idle timeout while receiving data"},
    {36520, "Timeout while receiving data"},
    {36521, "Error while receiving data from server"},
    {36601, "Error while decoding MIME"},
    {36602, "Error while opening file"},
    {36603, "Error while saving file"},
    {36604, "Invalid attachment ID"},
    {36605, "Decode attachment failed"},
    {37400, "Invalid hostname"},
    {37401, "Invalid port number"},
    {37402, "Connection failed"},
    {37403, "No response from server"},
    {37404, "Unexpected response from server"},
    {37405, "Unexpected response from server"},
    {37406, "Failed to introduce on the server"},
    {37408, "Failed to encrypt communication message"},
    {37410, "The selected mode of authorization is not supported"},
    {37411, "Authorization failed"},
    {37414, "Secure handshake failed"},
    {37435, "Failed to save the queue file"},
    {37436, "Failed to rename the queue file"},
    {37500, "Already connected"},
    {37501, "Invalid hostname"},
    {37502, "Invalid port number"},
    {37503, "Connect failed"},
    {37504, "Secure handshake failed"},
    {37506, "No welcome message received from server"},
    {37508, "Login failed"},
    {37510, "Unexpected response from server"},
    {37511, "Invalid password"},
    {37512, "Failed to get the number of mails in the maildrop"},
    {37516, "Invalid message ID"},
    {37517, "Retrieve failed"},
    {37518, "Unexpected socket error"},
    {37521, "Error while receiving data from server"},
    {37601, "Loading MIME data failed"},
    {37602, "Load MIME file failed"},
    {37603, "Save MIME file failed"},
    {37604, "Invalid attachment"},
    {37605, "Open attachment failed"},
    {37606, "Load attachment failed"},
    {37607, "Save attachment failed"},
    {37608, "Invalid FROM e-mail address"},
    {37609, "No TO recipients specified"},
    {37610, "Invalid TO e-mail address"},
    {37611, "Invalid CC e-mail address"},
    {37612, "Invalid BCC e-mail address"},
    {37613, "Invalid attachment ID"},
    {37614, "Decode attachment failed"},
    {37700, "Querying SChannel security context failed"},
    {37701, "Could not find the certificate chain"},
    {37702, "Failed to create new credentials"},
    {37703, "Server disconnected unexpectedly"},
    {37704, "Could not read from server"},
    {37705, "Could not open 'My' certificate store"},
    {37706, "Failed to initialize SChannel security context"},
    {37707, "Failed to allocate send/receive buffers"},
    {37708, "The secure connection was not initialized properly."},
    {37709, "EncryptMessage failure in SSPI module of the Operating System."},
    {37710, "DecryptMessage failure in SSPI module of the Operating System."},
    {37711,
     "Can not finish receiving and decrypting an incomplete message, there is not enough buffer "
     "space to hold the rest of the message."},
    {37712, "Cannot set secure when already connected"},
    {37713, "Timeout on receive data, reply from server expected"},
};

static_assert(std::is_sorted(std::begin(kCatalogue), std::end(kCatalogue),
                             [](const CatalogueRow& a, const CatalogueRow& b) {
                                 return a.number < b.number;
                             }));

constexpr std::string_view kUnknownText = "Generic Error";

/// A result of an inner layer and the number that callers see for it.
struct ResultNumber {
    std::int32_t result;
    std::int32_t number;
};

/// Reply codes that are numbers already.
struct PassThrough {
    std::int32_t first;
    std::int32_t last;
};
constexpr PassThrough kSmtpReplies = {354, 592};
constexpr PassThrough kPop3Replies = {700, 732};

constexpr ResultNumber kSecureNumbers[] = {
    {-1000, 37700}, {-1002, 37701}, {-1003, 37702}, {-1004, 37703}, {-1005, 37704},
    {-1006, 37705}, {-1007, 37706}, {-1008, 37707}, {-1009, 37708}, {-1010, 37709},
    {-1011, 37710}, {-1012, 37711}, {-1013, 37712}, {-1014, 37713},
};

constexpr ResultNumber kSmtpNumbers[] = {
    {-2001, 37400}, {-2002, 37401}, {-2003, 37402}, {-2004, 37403}, {-2005, 37404},
    {-2006, 37405}, {-2007, 37406}, {-2008, 441},   {-2009, 37408}, {-2010, 592},
    {-2011, 37410}, {-2012, 37411}, {-2015, 37414}, {-2016, 37435}, {-2017, 37436},
};

constexpr ResultNumber kPop3Numbers[] = {
    {-2101, 37500}, {-2102, 37501}, {-2103, 37502}, {-2104, 37503}, {-2105, 37504}, {-2106, 715},
    {-2107, 37506}, {-2108, 710},   {-2109, 37508}, {-2110, 707},   {-2111, 37510}, {-2112, 37511},
    {-2113, 37512}, {-2114, 713},   {-2115, 716},   {-2116, 711},   {-2117, 37516}, {-2118, 37517},
    {-2119, 37518}, {-2120, 732},   {-2121, 731},   {-2122, 37521},
};

constexpr ResultNumber kMailNumbers[] = {
    {-2201, 37604}, {-2202, 37605}, {-2203, 37606}, {-2204, 37607}, {-2205, 37608},
    {-2206, 37609}, {-2207, 37610}, {-2208, 37611}, {-2209, 37612}, {-2210, 37601},
    {-2211, 37602}, {-2212, 37603}, {-2213, 37613}, {-2214, 37614},
};

std::int32_t findNumber(std::span<const ResultNumber> table, std::int32_t result) {
    for (const ResultNumber& row : table) {
        if (row.result == result) {
            return row.number;
        }
    }
    return result == 0 ? kErrorNone : kErrorUnmapped;
}

std::int32_t mapEngineResult(std::span<const ResultNumber> table, PassThrough replies,
                             std::int32_t result) {
    if (result >= replies.first && result <= replies.last) {
        return result;
    }
    const std::int32_t number = findNumber(table, result);
    return number == kErrorUnmapped ? findNumber(kSecureNumbers, result) : number;
}

}  // namespace

std::string_view ErrorText(std::int32_t number) {
    const auto row = std::lower_bound(std::begin(kCatalogue), std::end(kCatalogue), number,
                                      [](const CatalogueRow& candidate, std::int32_t wanted) {
                                          return candidate.number < wanted;
                                      });
    return row != std::end(kCatalogue) && row->number == number ? row->text : kUnknownText;
}

CZncString& GetDescription(std::int32_t number, CZncString& result) {
    return result.Assign(ErrorText(number));
}

std::int32_t MapSmtpError(std::int32_t result) {
    return mapEngineResult(kSmtpNumbers, kSmtpReplies, result);
}

std::int32_t MapPop3Error(std::int32_t result) {
    return mapEngineResult(kPop3Numbers, kPop3Replies, result);
}

std::int32_t MapMailError(std::int32_t result) {
    return findNumber(kMailNumbers, result);
}

}  // namespace tessolt
