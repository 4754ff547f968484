#pragma once
// Plain value types of the host libraries: keys, packet data types, query enumerations,
// conversion-table rows and the command record of a server query.

/// A database key: two 32-bit words, `key` then `hkey`. Passed by value.
struct KXKEY_ELEMENT
{
    unsigned int key;
    unsigned int hkey;
};

/// Packet data types (storage classes). The type is open: any other value can be stored,
/// the host simply knows no packet class or conversion table for it.
enum PACKETDATATYPES : unsigned int {
    PDT_SECTION = 5,     ///< a section, found as an item in lists of letters and jobs
    PDT_OPAQUE = 6,      ///< opaque data: no conversion table and no text form
    PDT_DBENTRY = 8,     ///< a database entry (packet class KXDBENTRY_CC)
    PDT_OUTPUTDB = 15,   ///< kind of database: output databases (no packet class)
    PDT_JOB = 21,        ///< a job (packet class KXJOB_CC)
    PDT_LETTER = 31,     ///< a letter, a general-purpose document
    PDT_ICCPROFILE = 48, ///< a colour profile (packet class ICCPROFILEDATA_CC)
    PDT_BOOKDB = 85,     ///< kind of database: book databases (no packet class)
    PDT_BOOK = 86        ///< a book (packet class BOOK_CC)
};

/// Job queues of a database.
enum KXQUEUE : int {
    KXQUEUE_ACTIVE = 3 ///< the queue of active jobs
};

/// How a query sorts the records it returns.
enum SORTTYPE : int {
    SORTTYPE_ARRIVAL = 4 ///< arrival order, the order in which the server holds them
};

/// Direction of a sorted query.
enum SORTORDER : int {
    SORTORDER_ASCENDING = 0,
    SORTORDER_DESCENDING = 1
};

/// Element type codes of conversion-table rows (the `type` field).
enum KXELEMENTTYPE : unsigned int {
    KXET_STRING = 1,         ///< text
    KXET_SHORTINT = 2,       ///< signed 32-bit integer
    KXET_FLAGS = 3,          ///< unsigned 32-bit integer
    KXET_NAMEREF = 9,        ///< text naming another packet (a reference by name)
    KXET_HANDLE = 10,        ///< host-internal 32-bit word, written in hexadecimal
    KXET_VERSION = 11,       ///< text
    KXET_INTEGER = 13,       ///< signed integer of the row's width (1, 2, 4 or 8 bytes)
    KXET_KEYREF = 14,        ///< a database key (a reference by key)
    KXET_NUMBERS = 15,       ///< array of unsigned 32-bit integers
    KXET_UNSIGNEDARRAY = 16, ///< array of unsigned integers of the row's width
    KXET_CREATED = 20,       ///< time in seconds, signed 64-bit
    KXET_MODIFIED = 21,      ///< time in seconds, signed 64-bit
    KXET_STRINGS = 22,       ///< array of texts
    KXET_BINARY = 23,        ///< bytes
    KXET_UNSIGNED64 = 24,    ///< unsigned 64-bit integer
    KXET_TEXT = 25,          ///< text
    KXET_LOCKOWNER = 26,     ///< host-internal 32-bit word, written in hexadecimal
    KXET_INTEGERS = 27,      ///< array of signed 32-bit integers
    KXET_LONG = 28,          ///< signed 64-bit integer
    KXET_LONGS = 30,         ///< array of signed 64-bit integers
    KXET_UNSIGNEDS64 = 31,   ///< array of unsigned 64-bit integers
    KXET_EXTENDED = 40,      ///< text (a host extension)
    KXET_RESERVED = 48       ///< text (reserved by the host)
};

/// One row of a conversion table: element type code, data tag, byte offset in the host's
/// storage layout, element count (0 for variable-length values) and width in bytes
/// (0 for variable-length values). A table ends with an all-zero row.
struct CONVERTSTRUCTELEMENTINFO
{
    unsigned int type;
    unsigned int tag;
    unsigned int offset;
    unsigned int count;
    unsigned int width;
};

/// Identifier of one message exchanged with the server.
typedef unsigned int BM_MESSAGE_ID;

/// Commands a KXLPCOMMANDS record can carry.
enum KXCOMMAND : int {
    KXCMD_NONE = 0,
    KXCMD_GETDBLIST = 1,
    KXCMD_GETJOBQUEUE = 2,
    KXCMD_GETBOOKS = 3
};

/// The command record of one server query. Callers declare it as a local; the query fills it.
struct KXLPCOMMANDS
{
    int command = KXCMD_NONE;   ///< a KXCOMMAND
    unsigned int dataType = 0;  ///< the data type asked for (getDBList)
    int status = 0;             ///< 0 when the query succeeded, otherwise the server's error code
    BM_MESSAGE_ID messageId = 0; ///< the message that carried the query
};
