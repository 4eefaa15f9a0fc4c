# Sends a text. The password is in TESSOLT_PASSWORD, or is asked for.
echo "Lunch at one? 👋" | tessolt send --server mail.example.org --user ann \
    --from "Ann <ann@example.org>" --to bob@example.org --subject "Grüße"
