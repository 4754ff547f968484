#pragma once

#include <kxhost/kxpacketable.h>

/// The packet class of jobs (data type 21). Its attached record is a KXJOB.
class KXHOST_EXPORT KXJOB_CC : public KXPacketable
{
public:
    /// An empty job packet (data type 21) without a record.
    KXJOB_CC();
    /// A copy, including a deep copy of the attached record.
    KXJOB_CC(const KXJOB_CC& other);
    /// Frees the attached record.
    ~KXJOB_CC() override;
    /// Copies everything, as KXPacketable::operator= does.
    KXJOB_CC& operator=(const KXJOB_CC& other);

    /// Adopts a KXJOB (its `next` is ignored): frees the record held so far, takes over the
    /// job's own key and builds the elements and lists (sections, then history) from it.
    void setData(unsigned char* data) override;

    /// The attached record, owned by the packet; null when none (also after fromPacket,
    /// which releases it because the elements no longer come from it).
    const KXJOB* getJob() const;

    /// The job's page number; 0 for null.
    static int pageNumber(const KXJOB* job);
    /// Frees the job's history list; its sections stay. Null is allowed.
    static void trimLists(KXJOB* job);

protected:
    void copyFrom(const KXPacketable& other) override;
    void packetParsed() override;

private:
    KXJOB* m_job;
};
