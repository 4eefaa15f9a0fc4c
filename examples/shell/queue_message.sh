# Leaves a message to tessolt-queue, which tries until the server takes it.
echo "No hurry." | tessolt send --queue --server mail.example.org --user ann \
    --from ann@example.org --to bob@example.org --subject later
tessolt-queue list
