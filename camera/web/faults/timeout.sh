# In the place of a gateway that is past its time: the status that the server then answers with.
printf 'Status: 504\r\n\r\n'
