#pragma once
// Host records: C-style singly linked records (`next` first) that server queries return.
// Every pointer member is allocated with malloc (strings with strdup) and released with free;
// KXPacketFreeItem and KXPacketFreeList (kxlib.h) release a record with all it holds.

#include <kxhost/kxtypes.h>

/// Kinds of database entry.
enum KXDBKIND : int {
    KXDBKIND_OUTPUT = 1, ///< an output database (holds jobs)
    KXDBKIND_BOOK = 2    ///< a book database (holds books)
};

/// A database entry (data type 8).
struct KXDBENTRY
{
    KXDBENTRY* next;
    KXKEY_ELEMENT key; ///< the database's key
    char* name;        ///< UTF-8, may be null
    int id;            ///< the database's id on the server
    int kind;          ///< a KXDBKIND
};

/// A section of a job (storage class 5).
struct KXSECTION
{
    KXSECTION* next;
    char* title;   ///< UTF-8, may be null
    int firstPage;
    int pageCount; ///< fits 16 bits
};

/// A job (data type 21).
struct KXJOB
{
    KXJOB* next;
    char* name;                     ///< UTF-8, may be null
    char* publicationName;          ///< null when the job belongs to no publication
    unsigned int publicationNumber; ///< meaningful only with a publication name
    int pageNumber;                 ///< fits 16 bits
    KXKEY_ELEMENT key;              ///< the job's own key
    KXKEY_ELEMENT dbKey;            ///< the key of the job's database
    int queue;                      ///< a KXQUEUE
    unsigned char* colours;         ///< colour separations, colourCount bytes
    unsigned int colourCount;
    char** comments;                ///< commentCount UTF-8 strings
    unsigned int commentCount;
    KXSECTION* sections;
    KXSECTION* history;             ///< dropped by KXJOB_CC::trimLists
    char* profileName;              ///< colour profile, null when none
};

/// A book (data type 86).
struct KXBOOK
{
    KXBOOK* next;
    char* name;           ///< UTF-8, may be null
    unsigned int* pages;  ///< pageCount page numbers
    unsigned int pageCount;
    KXKEY_ELEMENT dbKey;  ///< the key of the book's database
    char* profileName;    ///< colour profile, null when none
};

/// One reference a packet holds to another packet: by key (`name` null) or by name
/// (`key` null). A chain is released with KXFreeReferences.
struct KXDB_REFERENCE
{
    KXDB_REFERENCE* next;
    KXKEY_ELEMENT key;
    char* name;
};
