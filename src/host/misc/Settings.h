// The two scopes that settings and resource directories come in: what ships
// with the library (factory) and what the user added.
#pragma once

class iSettings {
public:
    enum eType : int { eFactory = 0, eUser = 1 };
};
