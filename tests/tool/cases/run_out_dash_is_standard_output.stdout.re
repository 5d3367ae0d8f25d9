\A.PNG\r\n
