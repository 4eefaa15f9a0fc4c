# Tells a wrong password from other failures by the exit status; the message says what to do.
result=0
tessolt check mail.example.org --user ann --password-file password.txt || result=$?
if [ "$result" -eq 5 ]; then
    echo "the password is wrong"
fi
