# Sends HTML with an image in it, and an attachment.
tessolt send --server mail.example.org --user ann --from ann@example.org --to bob@example.org \
    --subject "The report" --text "The report is attached." \
    --html '<p>The report is attached.</p><img src="cid:logo.png">' --inline logo.png --attach report.pdf
