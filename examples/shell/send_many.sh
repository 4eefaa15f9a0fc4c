# Sends many messages over one connection: through the queue, which shows how far it is.
for file in outbox/*.eml; do
    tessolt send --queue --server mail.example.org --user ann --eml "$file"
done
tessolt-queue run --once
