#pragma once
// Copying, freeing and converting host records. Not installed.

#include <kxhost/kxrecords.h>

namespace kxhost {

struct Item;

char* copyString(const char* text);
KXSECTION* copySections(const KXSECTION* sections);
KXDBENTRY* copyDBEntry(const KXDBENTRY* entry); // one record, `next` null
KXJOB* copyJob(const KXJOB* job);               // one record, `next` null
KXBOOK* copyBook(const KXBOOK* book);           // one record, `next` null

void freeSections(KXSECTION* sections);
void freeDBEntry(KXDBENTRY* entry);
void freeJob(KXJOB* job);
void freeBook(KXBOOK* book);

/// Builds the packet item of a record (storage classes 8, 21 and 86).
void itemFromDBEntry(const KXDBENTRY& entry, Item& item);
void itemFromJob(const KXJOB& job, Item& item);
void itemFromBook(const KXBOOK& book, Item& item);

} // namespace kxhost
