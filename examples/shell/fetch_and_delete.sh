# Fetches what is new over TLS, and deletes on the server what is safe on the disk.
tessolt fetch --server pop.example.org --security tls --user ann --new --delete mail
