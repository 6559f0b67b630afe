#pragma once

#include "HttpResponse.h"

struct HttpRequest;
struct ServiceState;

// The account pages: the sign-in and sign-up forms at /account (fragments
// #signIn and #signUp) and the two form posts behind them, which answer JSON
// with the login, token and salt that the page hands to the program.
class AccountPage
{
public:
    explicit AccountPage(ServiceState& state)
        : state(state)
    {
    }

    bool handles(const QString& path) const;
    HttpResponse handle(const HttpRequest& request);

private:
    HttpResponse submit(const HttpRequest& request, bool signUp);

    ServiceState& state;
};
