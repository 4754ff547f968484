#pragma once
// Plain functions of the host base library: conversion tables, buffers and record lists.

#include <kxhost/kxhost_export.h>
#include <kxhost/kxrecords.h>
#include <kxhost/kxtypes.h>

/// The conversion table of @p storageClass: rows ending in an all-zero row, owned by the
/// library and valid for the life of the process. Null for data type 6 and for classes
/// without a table (15, 85 and unknown values).
KXHOST_EXPORT CONVERTSTRUCTELEMENTINFO* KXGetSystemStorageClassConv(unsigned int storageClass);

/// Frees a buffer the host handed out (KXPacketable::toPacket). Null is allowed.
KXHOST_EXPORT void KX_free(void* buffer);

/// Appends the whole list @p list to the end of @p head; either may be null.
/// Appending a list that is already part of @p head does nothing.
KXHOST_EXPORT void AddListList(KXDBENTRY*& head, KXDBENTRY* list);
/// Appends the whole list @p list to the end of @p head; either may be null.
KXHOST_EXPORT void AddListList(KXJOB*& head, KXJOB* list);
/// Appends the whole list @p list to the end of @p head; either may be null.
KXHOST_EXPORT void AddListList(KXBOOK*& head, KXBOOK* list);

/// Unlinks @p item from the list at @p head (its `next` becomes null); the caller then owns
/// it. Nothing happens when the item is not in the list.
KXHOST_EXPORT void RemoveItemFromList(KXDBENTRY*& head, KXDBENTRY* item);
/// Unlinks @p item from the list at @p head (its `next` becomes null).
KXHOST_EXPORT void RemoveItemFromList(KXJOB*& head, KXJOB* item);
/// Unlinks @p item from the list at @p head (its `next` becomes null).
KXHOST_EXPORT void RemoveItemFromList(KXBOOK*& head, KXBOOK* item);

/// Frees one record of data type @p dataType (8) with everything it holds; not its successors.
/// A data type that does not match the record is reported on standard error (the record is
/// still freed as what it is).
KXHOST_EXPORT void KXPacketFreeItem(KXDBENTRY* item, unsigned int dataType);
/// Frees one job record (data type 21) with its sections, history and strings.
KXHOST_EXPORT void KXPacketFreeItem(KXJOB* item, unsigned int dataType);
/// Frees one book record (data type 86).
KXHOST_EXPORT void KXPacketFreeItem(KXBOOK* item, unsigned int dataType);

/// Frees the whole list at @p head (data type 8); @p head becomes null.
KXHOST_EXPORT void KXPacketFreeList(KXDBENTRY*& head, unsigned int dataType);
/// Frees the whole list at @p head (data type 21); @p head becomes null.
KXHOST_EXPORT void KXPacketFreeList(KXJOB*& head, unsigned int dataType);
/// Frees the whole list at @p head (data type 86); @p head becomes null.
KXHOST_EXPORT void KXPacketFreeList(KXBOOK*& head, unsigned int dataType);

/// Frees a chain of references (KXPacketable::getReferences). Null is allowed.
KXHOST_EXPORT void KXFreeReferences(KXDB_REFERENCE* chain);
