#pragma once

class SSApplicationDelegate;

/// What opening the application plainly does.
class SSSelfService
{
public:
    /// Says that the service is not configured.
    static void showSelfService(SSApplicationDelegate *delegate);
};
