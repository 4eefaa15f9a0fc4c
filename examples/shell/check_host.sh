# Tries a connection step by step: name, TLS, certificate, what the server offers, login.
tessolt check pop.example.org --pop3 --security tls --user ann
