# Sends with STARTTLS or not at all.
echo "For your eyes only." | tessolt send --server mail.example.org --security starttls --user ann \
    --from ann@example.org --to bob@example.org --subject secret
