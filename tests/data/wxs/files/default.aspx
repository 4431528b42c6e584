qvice test payload: default.aspx
