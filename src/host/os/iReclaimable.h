// iReclaimable: an owner of caches that the host's memory management can ask
// to give memory back.
#pragma once

class iReclaimable {
public:
    virtual ~iReclaimable() = default;
    // Drops everything cached.
    virtual void purge() = 0;
    // Brings usage down to what is needed now (may simply purge).
    virtual void limitUsage() = 0;
    // Writes the current usage to the log.
    virtual void reportUsage() = 0;
};
