#include <kxhost/kxjob_cc.h>

#include "journalscope_p.h"

#include "kxitem_p.h"
#include "kxrecords_p.h"

KXJOB_CC::KXJOB_CC()
    : KXPacketable(PDT_JOB)
    , m_job(nullptr)
{
}

KXJOB_CC::KXJOB_CC(const KXJOB_CC& other)
    : KXPacketable(other)
    , m_job(kxhost::copyJob(other.m_job))
{
}

KXJOB_CC::~KXJOB_CC()
{
    kxhost::freeJob(m_job);
}

KXJOB_CC& KXJOB_CC::operator=(const KXJOB_CC& other)
{
    KXPacketable::operator=(other);
    return *this;
}

void KXJOB_CC::setData(unsigned char* data)
{
    auto* job = reinterpret_cast<KXJOB*>(data);
    const kxhost::JournalScope journal(this, "setData", [&] { return kxhost::journalArguments(static_cast<const KXJOB*>(job)); });
    if (job != m_job) {
        kxhost::freeJob(m_job);
        m_job = job;
    }
    if (m_job) {
        key = m_job->key;
        kxhost::itemFromJob(*m_job, item());
    } else {
        item().clear(PDT_JOB);
    }
}

const KXJOB* KXJOB_CC::getJob() const
{
    return m_job;
}

int KXJOB_CC::pageNumber(const KXJOB* job)
{
    const kxhost::JournalScope journal(nullptr, "pageNumber", [&] { return kxhost::journalArguments(job); });
    return job ? job->pageNumber : 0;
}

void KXJOB_CC::trimLists(KXJOB* job)
{
    const kxhost::JournalScope journal(nullptr, "trimLists", [&] { return kxhost::journalArguments(static_cast<const KXJOB*>(job)); });
    if (!job)
        return;
    kxhost::freeSections(job->history);
    job->history = nullptr;
}

void KXJOB_CC::copyFrom(const KXPacketable& other)
{
    KXPacketable::copyFrom(other);
    const auto* jobPacket = dynamic_cast<const KXJOB_CC*>(&other);
    KXJOB* copy = jobPacket ? kxhost::copyJob(jobPacket->m_job) : nullptr;
    kxhost::freeJob(m_job);
    m_job = copy;
}

void KXJOB_CC::packetParsed()
{
    // The elements no longer come from the record.
    kxhost::freeJob(m_job);
    m_job = nullptr;
}
