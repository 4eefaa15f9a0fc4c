/// The error numbers by name, each with its text. docs/errors.md tells causes and remedies.
/// tools/make_error_documents makes this file. Usable from C11 and C++17.
#pragma once

// clang-format off
/// What `LastError` and `tessolt::Error::number()` may hold.
enum TessoltErrorNumber {
    /// Generic Error
    TESSOLT_ERROR_OTHER = (-1),
    /// Success
    TESSOLT_ERROR_NONE = 0,
    /// Start mail input; end with &lt;CRLF&gt;.&lt;CRLF&gt;
    TESSOLT_ERROR_SMTP_START_INPUT = 354,
    /// &lt;domain&gt; Service not available, closing transmission channel
    TESSOLT_ERROR_SMTP_SERVICE_CLOSING = 421,
    /// No connection to SMTP server established, please connect first
    TESSOLT_ERROR_SMTP_NOT_CONNECTED = 441,
    /// Requested mail action not taken: mailbox unavailable (mailbox busy)
    TESSOLT_ERROR_SMTP_MAILBOX_BUSY = 450,
    /// Requested action aborted: local error in processing
    TESSOLT_ERROR_SMTP_LOCAL_ERROR = 451,
    /// Requested action not taken: insufficient system storage
    TESSOLT_ERROR_SMTP_NO_STORAGE = 452,
    /// Client not authenticated, authentication required
    TESSOLT_ERROR_SMTP_NOT_AUTHENTICATED = 454,
    /// Syntax error, command unrecognized (This may include errors such as command line too long)
    TESSOLT_ERROR_SMTP_UNKNOWN_COMMAND = 500,
    /// Syntax error in parameters or arguments
    TESSOLT_ERROR_SMTP_BAD_ARGUMENT = 501,
    /// Command not implemented
    TESSOLT_ERROR_SMTP_NOT_IMPLEMENTED = 502,
    /// Bad sequence of commands
    TESSOLT_ERROR_SMTP_BAD_SEQUENCE = 503,
    /// Command parameter not implemented
    TESSOLT_ERROR_SMTP_ARGUMENT_NOT_IMPLEMENTED = 504,
    /// Client does not have permission to send as this sender; change the sender e-mail address
    TESSOLT_ERROR_SMTP_SENDER_NOT_ALLOWED = 505,
    /// Please authenticate first
    TESSOLT_ERROR_SMTP_LOGIN_REQUIRED = 530,
    /// Authentication failed
    TESSOLT_ERROR_SMTP_LOGIN_REFUSED = 535,
    /// Requested action not taken: mailbox unavailable (mailbox not found)
    TESSOLT_ERROR_SMTP_MAILBOX_UNAVAILABLE = 550,
    /// User not local; please try &lt;forward-path&gt;
    TESSOLT_ERROR_SMTP_NOT_LOCAL = 551,
    /// Requested mail action aborted: exceeded storage allocation
    TESSOLT_ERROR_SMTP_TOO_LARGE = 552,
    /// Requested action not taken: mailbox name not allowed (mailbox syntax incorrect)
    TESSOLT_ERROR_SMTP_BAD_MAILBOX_NAME = 553,
    /// Transaction failed
    TESSOLT_ERROR_SMTP_TRANSACTION_FAILED = 554,
    /// Unexpected response from SMTP server
    TESSOLT_ERROR_SMTP_UNEXPECTED_REPLY = 590,
    /// No response from SMTP server
    TESSOLT_ERROR_SMTP_NO_REPLY = 591,
    /// Failed to send command
    TESSOLT_ERROR_SMTP_SEND_COMMAND_FAILED = 592,
    /// No welcome message received from POP3 server (no response at all, expected responde:'+OK
    /// POP3 Ready'
    TESSOLT_ERROR_POP3_NO_WELCOME = 700,
    /// No welcome message received from POP3 server (invalid response, '+OK POP3 READY' was
    /// expected
    TESSOLT_ERROR_POP3_BAD_WELCOME = 701,
    /// No response received on '+USER' command
    TESSOLT_ERROR_POP3_NO_REPLY_TO_USER = 702,
    /// Invalid response received on 'USER' command
    TESSOLT_ERROR_POP3_BAD_REPLY_TO_USER = 703,
    /// Login failed
    TESSOLT_ERROR_POP3_LOGIN_FAILED_OLD = 704,
    /// No response received on 'PASS' command
    TESSOLT_ERROR_POP3_NO_REPLY_TO_PASS = 705,
    /// Invalid response received on 'PASS' command
    TESSOLT_ERROR_POP3_BAD_REPLY_TO_PASS = 706,
    /// No connection to POP3 server established, please connect first
    TESSOLT_ERROR_POP3_NOT_CONNECTED = 707,
    /// Invalid message indicator; message should start with '+OK &lt;bytes&gt;'.
    TESSOLT_ERROR_POP3_BAD_MESSAGE_START = 708,
    /// Invalid message (MIME header is empty)
    TESSOLT_ERROR_POP3_EMPTY_HEADER = 709,
    /// The mailbox is already in use (locked)
    TESSOLT_ERROR_POP3_MAILBOX_LOCKED = 710,
    /// No more messages available
    TESSOLT_ERROR_POP3_NO_MESSAGES = 711,
    /// Message is flagged as deleted
    TESSOLT_ERROR_POP3_MESSAGE_DELETED = 712,
    /// The mailbox does not contain message(s)
    TESSOLT_ERROR_POP3_NOTHING_TO_DELETE = 713,
    /// No response received on command
    TESSOLT_ERROR_POP3_NO_REPLY_TO_FETCH = 715,
    /// Failed to delete message (most likely the message does not exist)
    TESSOLT_ERROR_POP3_DELETE_FAILED = 716,
    /// Failed to count messages in mailbox. STAT command failed
    TESSOLT_ERROR_POP3_COUNT_FAILED = 717,
    /// Failed to save attachment, check if the specified directory exists and that you have
    /// sufficient rights
    TESSOLT_ERROR_SAVE_ATTACHMENT_FAILED_OLD = 720,
    /// Failed to save attachment, file already exists
    TESSOLT_ERROR_ATTACHMENT_FILE_EXISTS = 721,
    /// There is no message with this message ID
    TESSOLT_ERROR_POP3_NO_SUCH_MESSAGE_OLD = 725,
    /// Attachment not found
    TESSOLT_ERROR_ATTACHMENT_NOT_FOUND = 730,
    /// Operation timed out
    TESSOLT_ERROR_POP3_TIMED_OUT = 731,
    /// Operation stalled; Idle timeout expired.
    TESSOLT_ERROR_POP3_STALLED = 732,
    /// Internal error: unable to create new ActiveX object
    TESSOLT_ERROR_NO_OBJECT = 15010,
    /// Invalid argument
    TESSOLT_ERROR_INVALID_ARGUMENT = 36002,
    /// Invalid hostname
    TESSOLT_ERROR_SMTP_INVALID_HOST_OLD = 36400,
    /// Invalid port number
    TESSOLT_ERROR_SMTP_INVALID_PORT_OLD = 36401,
    /// Connection failed
    TESSOLT_ERROR_SMTP_CONNECT_FAILED_OLD = 36402,
    /// No response from server
    TESSOLT_ERROR_SMTP_NO_RESPONSE_OLD = 36403,
    /// Unexpected response from server
    TESSOLT_ERROR_SMTP_BAD_RESPONSE_OLD = 36404,
    /// Unexpected response from server
    TESSOLT_ERROR_SMTP_BAD_WELCOME_OLD = 36405,
    /// Failed to introduce on the server
    TESSOLT_ERROR_SMTP_HELLO_FAILED_OLD = 36406,
    /// Not connected. An active connection is needed for this operation
    TESSOLT_ERROR_SMTP_NOT_CONNECTED_OLD = 36407,
    /// Failed to encrypt communication message
    TESSOLT_ERROR_SMTP_ENCRYPT_FAILED_OLD = 36408,
    /// Send command failed
    TESSOLT_ERROR_SMTP_SEND_FAILED_OLD = 36409,
    /// The selected mode of authorization is not supported
    TESSOLT_ERROR_SMTP_LOGIN_UNSUPPORTED_OLD = 36410,
    /// Authorization failed
    TESSOLT_ERROR_SMTP_LOGIN_FAILED_OLD = 36411,
    /// Secure handshake failed
    TESSOLT_ERROR_SMTP_HANDSHAKE_FAILED_OLD = 36414,
    /// Service not available
    TESSOLT_ERROR_SMTP_SERVICE_CLOSING_OLD = 36416,
    /// Mailbox not available
    TESSOLT_ERROR_SMTP_MAILBOX_BUSY_OLD = 36417,
    /// Local error
    TESSOLT_ERROR_SMTP_LOCAL_ERROR_OLD = 36418,
    /// Insufficient memory on the server
    TESSOLT_ERROR_SMTP_NO_STORAGE_OLD = 36419,
    /// Client not authenticated
    TESSOLT_ERROR_SMTP_NOT_AUTHENTICATED_OLD = 36420,
    /// Unknown command
    TESSOLT_ERROR_SMTP_UNKNOWN_COMMAND_OLD = 36421,
    /// Syntax error
    TESSOLT_ERROR_SMTP_BAD_ARGUMENT_OLD = 36422,
    /// Command not implemented
    TESSOLT_ERROR_SMTP_NOT_IMPLEMENTED_OLD = 36423,
    /// Bad command sequence
    TESSOLT_ERROR_SMTP_BAD_SEQUENCE_OLD = 36424,
    /// Parameter not implemented
    TESSOLT_ERROR_SMTP_ARGUMENT_NOT_IMPLEMENTED_OLD = 36425,
    /// Invalid sender address
    TESSOLT_ERROR_SMTP_SENDER_NOT_ALLOWED_OLD = 36426,
    /// Mail not accepted
    TESSOLT_ERROR_SMTP_MAIL_NOT_ACCEPTED = 36427,
    /// Authentication required
    TESSOLT_ERROR_SMTP_LOGIN_REQUIRED_OLD = 36428,
    /// Authentication failed
    TESSOLT_ERROR_SMTP_LOGIN_REFUSED_OLD = 36429,
    /// Mailbox not found
    TESSOLT_ERROR_SMTP_MAILBOX_UNAVAILABLE_OLD = 36430,
    /// User not local, please try another forward path
    TESSOLT_ERROR_SMTP_NOT_LOCAL_OLD = 36431,
    /// Storage exceeded
    TESSOLT_ERROR_SMTP_TOO_LARGE_OLD = 36432,
    /// Mailbox name not allowed
    TESSOLT_ERROR_SMTP_BAD_MAILBOX_NAME_OLD = 36433,
    /// Transaction failed
    TESSOLT_ERROR_SMTP_TRANSACTION_FAILED_OLD = 36434,
    /// Already connected
    TESSOLT_ERROR_POP3_SECURE_WHILE_CONNECTED = 36500,
    /// Invalid hostname
    TESSOLT_ERROR_POP3_INVALID_HOST_OLD = 36501,
    /// Invalid port number
    TESSOLT_ERROR_POP3_INVALID_PORT_OLD = 36502,
    /// Connect failed
    TESSOLT_ERROR_POP3_CONNECT_FAILED_OLD = 36503,
    /// Secure handshake failed
    TESSOLT_ERROR_POP3_HANDSHAKE_FAILED_OLD = 36504,
    /// No response from server
    TESSOLT_ERROR_POP3_NO_RESPONSE = 36505,
    /// No welcome message received from server
    TESSOLT_ERROR_POP3_NO_WELCOME_OLD = 36506,
    /// Maildrop locked
    TESSOLT_ERROR_POP3_MAILBOX_LOCKED_OLD = 36507,
    /// Login failed
    TESSOLT_ERROR_POP3_LOGIN_FAILED_NEWER = 36508,
    /// No connection
    TESSOLT_ERROR_POP3_NOT_CONNECTED_OLD = 36509,
    /// Unexpected response from server
    TESSOLT_ERROR_POP3_BAD_RESPONSE_OLD = 36510,
    /// Invalid password
    TESSOLT_ERROR_POP3_INVALID_PASSWORD_OLD = 36511,
    /// Failed to get the number of mails in the maildrop
    TESSOLT_ERROR_POP3_COUNT_FAILED_OLD = 36512,
    /// Mailbox empty
    TESSOLT_ERROR_POP3_MAILBOX_EMPTY = 36513,
    /// Delete message failed
    TESSOLT_ERROR_POP3_DELETE_FAILED_OLD = 36514,
    /// No more messages
    TESSOLT_ERROR_POP3_NO_MESSAGES_OLD = 36515,
    /// Invalid message ID
    TESSOLT_ERROR_POP3_NO_SUCH_MESSAGE_NEWER = 36516,
    /// Retrieve failed
    TESSOLT_ERROR_POP3_FETCH_FAILED_OLD = 36517,
    /// Unexpected socket error
    TESSOLT_ERROR_POP3_BODY_LOST_OLD = 36518,
    /// Idle timeout while receiving data
    TESSOLT_ERROR_POP3_STALLED_OLD = 36519,
    /// Timeout while receiving data
    TESSOLT_ERROR_POP3_TIMED_OUT_OLD = 36520,
    /// Error while receiving data from server
    TESSOLT_ERROR_POP3_READ_FAILED_OLD = 36521,
    /// Error while decoding MIME
    TESSOLT_ERROR_LOAD_MIME_TEXT_FAILED_OLD = 36601,
    /// Error while opening file
    TESSOLT_ERROR_OPEN_FILE_FAILED = 36602,
    /// Error while saving file
    TESSOLT_ERROR_SAVE_FILE_FAILED = 36603,
    /// Invalid attachment ID
    TESSOLT_ERROR_NO_SUCH_ATTACHMENT_OLD = 36604,
    /// Decode attachment failed
    TESSOLT_ERROR_DECODE_ATTACHMENT_FAILED_OLD = 36605,
    /// Invalid hostname
    TESSOLT_ERROR_SMTP_INVALID_HOST = 37400,
    /// Invalid port number
    TESSOLT_ERROR_SMTP_INVALID_PORT = 37401,
    /// Connection failed
    TESSOLT_ERROR_SMTP_CONNECT_FAILED = 37402,
    /// No response from server
    TESSOLT_ERROR_SMTP_NO_RESPONSE = 37403,
    /// Unexpected response from server
    TESSOLT_ERROR_SMTP_BAD_RESPONSE = 37404,
    /// Unexpected response from server
    TESSOLT_ERROR_SMTP_BAD_WELCOME = 37405,
    /// Failed to introduce on the server
    TESSOLT_ERROR_SMTP_HELLO_FAILED = 37406,
    /// Failed to encrypt communication message
    TESSOLT_ERROR_SMTP_ENCRYPT_FAILED = 37408,
    /// The selected mode of authorization is not supported
    TESSOLT_ERROR_SMTP_LOGIN_UNSUPPORTED = 37410,
    /// Authorization failed
    TESSOLT_ERROR_SMTP_LOGIN_FAILED = 37411,
    /// Secure handshake failed
    TESSOLT_ERROR_SMTP_HANDSHAKE_FAILED = 37414,
    /// Failed to save the queue file
    TESSOLT_ERROR_QUEUE_SAVE_FAILED = 37435,
    /// Failed to rename the queue file
    TESSOLT_ERROR_QUEUE_RENAME_FAILED = 37436,
    /// Already connected
    TESSOLT_ERROR_POP3_ALREADY_CONNECTED = 37500,
    /// Invalid hostname
    TESSOLT_ERROR_POP3_INVALID_HOST = 37501,
    /// Invalid port number
    TESSOLT_ERROR_POP3_INVALID_PORT = 37502,
    /// Connect failed
    TESSOLT_ERROR_POP3_CONNECT_FAILED = 37503,
    /// Secure handshake failed
    TESSOLT_ERROR_POP3_HANDSHAKE_FAILED = 37504,
    /// No welcome message received from server
    TESSOLT_ERROR_POP3_BAD_WELCOME_LINE = 37506,
    /// Login failed
    TESSOLT_ERROR_POP3_LOGIN_FAILED = 37508,
    /// Unexpected response from server
    TESSOLT_ERROR_POP3_BAD_RESPONSE = 37510,
    /// Invalid password
    TESSOLT_ERROR_POP3_INVALID_PASSWORD = 37511,
    /// Failed to get the number of mails in the maildrop
    TESSOLT_ERROR_POP3_STAT_FAILED = 37512,
    /// Invalid message ID
    TESSOLT_ERROR_POP3_NO_SUCH_MESSAGE = 37516,
    /// Retrieve failed
    TESSOLT_ERROR_POP3_FETCH_FAILED = 37517,
    /// Unexpected socket error
    TESSOLT_ERROR_POP3_BODY_LOST = 37518,
    /// Error while receiving data from server
    TESSOLT_ERROR_POP3_READ_FAILED = 37521,
    /// Loading MIME data failed
    TESSOLT_ERROR_LOAD_MIME_TEXT_FAILED = 37601,
    /// Load MIME file failed
    TESSOLT_ERROR_LOAD_MIME_FILE_FAILED = 37602,
    /// Save MIME file failed
    TESSOLT_ERROR_SAVE_MIME_FILE_FAILED = 37603,
    /// Invalid attachment
    TESSOLT_ERROR_NO_ATTACHMENT_NAMED = 37604,
    /// Open attachment failed
    TESSOLT_ERROR_OPEN_ATTACHMENT_FAILED = 37605,
    /// Load attachment failed
    TESSOLT_ERROR_READ_ATTACHMENT_FAILED = 37606,
    /// Save attachment failed
    TESSOLT_ERROR_SAVE_ATTACHMENT_FAILED = 37607,
    /// Invalid FROM e-mail address
    TESSOLT_ERROR_BAD_FROM_ADDRESS = 37608,
    /// No TO recipients specified
    TESSOLT_ERROR_NO_RECIPIENT = 37609,
    /// Invalid TO e-mail address
    TESSOLT_ERROR_BAD_TO_ADDRESS = 37610,
    /// Invalid CC e-mail address
    TESSOLT_ERROR_BAD_CC_ADDRESS = 37611,
    /// Invalid BCC e-mail address
    TESSOLT_ERROR_BAD_BCC_ADDRESS = 37612,
    /// Invalid attachment ID
    TESSOLT_ERROR_NO_SUCH_ATTACHMENT = 37613,
    /// Decode attachment failed
    TESSOLT_ERROR_DECODE_ATTACHMENT_FAILED = 37614,
    /// Querying SChannel security context failed
    TESSOLT_ERROR_TLS_NO_CONTEXT = 37700,
    /// Could not find the certificate chain
    TESSOLT_ERROR_TLS_NO_CHAIN = 37701,
    /// Failed to create new credentials
    TESSOLT_ERROR_TLS_NO_CREDENTIALS = 37702,
    /// Server disconnected unexpectedly
    TESSOLT_ERROR_TLS_DISCONNECTED = 37703,
    /// Could not read from server
    TESSOLT_ERROR_TLS_READ_FAILED = 37704,
    /// Could not open 'My' certificate store
    TESSOLT_ERROR_TLS_NO_CERTIFICATES = 37705,
    /// Failed to initialize SChannel security context
    TESSOLT_ERROR_TLS_HANDSHAKE_FAILED = 37706,
    /// Failed to allocate send/receive buffers
    TESSOLT_ERROR_TLS_NO_MEMORY = 37707,
    /// The secure connection was not initialized properly.
    TESSOLT_ERROR_TLS_REQUIRED = 37708,
    /// EncryptMessage failure in SSPI module of the Operating System.
    TESSOLT_ERROR_TLS_ENCRYPT_FAILED = 37709,
    /// DecryptMessage failure in SSPI module of the Operating System.
    TESSOLT_ERROR_TLS_DECRYPT_FAILED = 37710,
    /// Can not finish receiving and decrypting an incomplete message, there is not enough buffer
    /// space to hold the rest of the message.
    TESSOLT_ERROR_TLS_INCOMPLETE = 37711,
    /// Cannot set secure when already connected
    TESSOLT_ERROR_SMTP_SECURE_WHILE_CONNECTED = 37712,
    /// Timeout on receive data, reply from server expected
    TESSOLT_ERROR_TLS_TIMED_OUT = 37713,
};
// clang-format on
